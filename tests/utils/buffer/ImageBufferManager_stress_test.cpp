#include "BufferTestSupport.h"

#include <mutex>
#include <set>

#include "ThreadWatch.h"

using namespace tamo;
using namespace buffertest;
using namespace std::chrono_literals;

namespace {

constexpr unsigned int kThreads = 8, kMax = 3;
constexpr long kRounds = 1500;

// Eight threads contend for a pool of three that starts with one buffer and
// grows on demand. No buffer is ever held by two threads, never more than
// three are out, every buffer comes back, and a flush at the end lets every
// thread go, waiting or not.
TEST(ImageBufferManagerStress, EightThreadsOnThreeBuffersThenFlush)
{
    LogCapture capture; // quiet: "Signal by flush." from every thread
    auto pool = makePool(1, kMax, "stress");
    std::mutex lock; // over what the threads hold, checked on every hand-over
    std::set<ImageBuffer*> held, seen;
    std::atomic<long> acquired{0};
    bool handedTwice = false, overMax = false;
    // Acquire, hold, release: kRounds times, then on until the pool answers
    // nothing, which only a flush makes it do.
    auto worker = [&] {
        for (long i = 0;; i++) {
            auto buffer = pool->acquireImageBuffer();
            if (buffer == nullptr)
                return;
            std::unique_lock<std::mutex> guard(lock);
            acquired++;
            handedTwice |= !held.insert(buffer.get()).second;
            seen.insert(buffer.get());
            overMax |= held.size() > kMax || pool->getBusyBufferCount() > kMax;
            guard.unlock();
            if (i % 3 == 0)
                std::this_thread::yield();
            guard.lock();
            held.erase(buffer.get());
            guard.unlock();
            pool->releaseImageBuffer(std::move(buffer));
            if (i >= kRounds)
                std::this_thread::sleep_for(1ms); // idle until the flush
        }
    };
    std::vector<std::future<void>> threads;
    for (unsigned int t = 0; t < kThreads; t++)
        threads.push_back(std::async(std::launch::async, worker));
    testsupport::waitUntil([&] { return acquired >= kThreads * kRounds; }, 60s);

    // Each flush wakes one waiter, and so does each release after it.
    for (auto& t : threads) {
        testsupport::waitUntil([&] { return pool->flush(), t.wait_for(1ms) == std::future_status::ready; });
        await(t, 0); // a lost wake-up: fails instead of hanging
    }
    EXPECT_GE(acquired, kThreads * kRounds);
    EXPECT_FALSE(handedTwice || overMax);
    EXPECT_LE(seen.size(), kMax);
    EXPECT_EQ(pool->getBusyBufferCount(), 0u);
    EXPECT_EQ(pool->getFreeBufferCount(), seen.size());
    EXPECT_EQ(pool->acquireImageBuffer(), nullptr);
}

} // namespace
