#include "BufferTestSupport.h"

#include <atomic>
#include <mutex>
#include <set>
#include <thread>

using namespace tamo;
using namespace buffertest;
using namespace std::chrono_literals;

namespace {

constexpr unsigned int kMax = 2;

// What the threads hold, checked on every hand-over.
struct Ledger {
    std::mutex lock;
    std::set<ImageBuffer*> held, seen;
    int handedTwice = 0;
    std::atomic<bool> overMax{false};
};

// Acquire, hold, release, until the pool answers nothing or rounds run out.
void worker(ImageBufferManager& pool, Ledger& ledger, int rounds)
{
    for (int i = 0; rounds < 0 || i < rounds; i++) {
        auto buffer = pool.acquireImageBuffer();
        if (buffer == nullptr)
            return;
        {
            std::lock_guard<std::mutex> guard(ledger.lock);
            ledger.handedTwice += !ledger.held.insert(buffer.get()).second;
            ledger.seen.insert(buffer.get());
            if (ledger.held.size() > kMax || pool.getBusyBufferCount() > kMax)
                ledger.overMax = true;
        }
        if (i % 3 == 0)
            std::this_thread::yield();
        {
            std::lock_guard<std::mutex> guard(ledger.lock);
            ledger.held.erase(buffer.get());
        }
        pool.releaseImageBuffer(std::move(buffer));
    }
}

std::vector<std::future<void>> start(ImageBufferManager& pool, Ledger& ledger, int rounds)
{
    std::vector<std::future<void>> threads;
    for (int t = 0; t < 6; t++)
        threads.push_back(std::async(std::launch::async, worker, std::ref(pool),
                                     std::ref(ledger), rounds));
    return threads;
}

TEST(ImageBufferManagerStress, ContendedPoolLosesAndDuplicatesNothing)
{
    auto pool = makePool(0, kMax, "stress");
    Ledger ledger;
    auto threads = start(*pool, ledger, 3000);
    for (auto& t : threads)  // a lost wake-up leaves a thread blocked for good
        awaitAny<void>({&t}, 120);
    EXPECT_EQ(ledger.handedTwice, 0);
    EXPECT_FALSE(ledger.overMax);
    EXPECT_LE(ledger.seen.size(), kMax);
    EXPECT_EQ(pool->getBusyBufferCount(), 0u);
    EXPECT_EQ(pool->getFreeBufferCount(), ledger.seen.size());
}

TEST(ImageBufferManagerStress, FlushEventuallyEndsEveryWaiter)
{
    auto pool = makePool(1, kMax, "flush");
    Ledger ledger;
    auto threads = start(*pool, ledger, -1);
    std::this_thread::sleep_for(100ms);
    // Each flush wakes one waiter, and so does each release after it.
    auto deadline = std::chrono::steady_clock::now() + 20s;
    for (auto& t : threads)
        while (t.wait_for(1ms) != std::future_status::ready) {
            pool->flush();
            if (std::chrono::steady_clock::now() > deadline)
                awaitAny<void>({&t}, 0);
        }
    EXPECT_EQ(ledger.handedTwice, 0);
    EXPECT_FALSE(ledger.overMax);
    EXPECT_EQ(pool->getBusyBufferCount(), 0u);
}

} // namespace
