#include "BufferTestSupport.h"

#include <atomic>
#include <mutex>
#include <set>
#include <thread>

using namespace tamo;
using namespace buffertest;
using namespace std::chrono_literals;

namespace {

constexpr unsigned int kThreads = 8, kMax = 3;
constexpr long kRounds = 1500;

// What the threads hold, checked on every hand-over.
struct Ledger {
    std::mutex lock;
    std::set<ImageBuffer*> held, seen;
    std::atomic<long> acquired{0};
    bool handedTwice = false, overMax = false;
};

// Acquire, hold, release: kRounds times, then on until the pool answers
// nothing, which only a flush makes it do.
void worker(ImageBufferManager& pool, Ledger& ledger)
{
    for (long i = 0;; i++) {
        auto buffer = pool.acquireImageBuffer();
        if (buffer == nullptr)
            return;
        {
            std::lock_guard<std::mutex> guard(ledger.lock);
            ledger.acquired++;
            ledger.handedTwice |= !ledger.held.insert(buffer.get()).second;
            ledger.seen.insert(buffer.get());
            ledger.overMax |= ledger.held.size() > kMax || pool.getBusyBufferCount() > kMax;
        }
        if (i % 3 == 0)
            std::this_thread::yield();
        std::unique_lock<std::mutex> guard(ledger.lock);
        ledger.held.erase(buffer.get());
        guard.unlock();
        pool.releaseImageBuffer(std::move(buffer));
        if (i >= kRounds)
            std::this_thread::sleep_for(1ms); // idle until the flush
    }
}

// Eight threads contend for a pool of three that starts with one buffer and
// grows on demand. No buffer is ever held by two threads, never more than
// three are out, every buffer comes back, and a flush at the end lets every
// thread go, waiting or not.
TEST(ImageBufferManagerStress, EightThreadsOnThreeBuffersThenFlush)
{
    tamo::host::LogCapture capture; // quiet: "Signal by flush." from every thread
    auto pool = makePool(1, kMax, "stress");
    Ledger ledger;
    std::vector<std::future<void>> threads;
    for (unsigned int t = 0; t < kThreads; t++)
        threads.push_back(std::async(std::launch::async, worker, std::ref(*pool), std::ref(ledger)));
    auto deadline = std::chrono::steady_clock::now() + 60s;
    while (ledger.acquired < kThreads * kRounds && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(1ms);

    // Each flush wakes one waiter, and so does each release after it.
    deadline = std::chrono::steady_clock::now() + 20s;
    for (auto& t : threads)
        while (t.wait_for(1ms) != std::future_status::ready) {
            pool->flush();
            if (std::chrono::steady_clock::now() > deadline)
                await(t, 0); // a lost wake-up: fails instead of hanging
        }
    EXPECT_GE(ledger.acquired, kThreads * kRounds);
    EXPECT_FALSE(ledger.handedTwice || ledger.overMax);
    EXPECT_LE(ledger.seen.size(), kMax);
    EXPECT_EQ(pool->getBusyBufferCount(), 0u);
    EXPECT_EQ(pool->getFreeBufferCount(), ledger.seen.size());
    EXPECT_EQ(pool->acquireImageBuffer(), nullptr);
}

} // namespace
