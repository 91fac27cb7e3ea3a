#include <tamo/ImageBuffer.h>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <future>
#include <thread>
#include <vector>

#include "PoolTestSupport.h"

using namespace tamo;
using namespace pooltest;
using namespace std::chrono_literals;

namespace {

constexpr unsigned int kMax = 2;
constexpr int kThreads = 6;

// What the threads hold, checked on every move.
struct Ledger {
    std::mutex lock;
    std::set<ImageBuffer*> held;
    std::set<ImageBuffer*> seen;
    std::atomic<unsigned int> busy{0};
    std::atomic<unsigned int> peak{0};
    std::atomic<int> doubleHandOuts{0};

    void take(ImageBuffer* b)
    {
        unsigned int now = ++busy;
        unsigned int p = peak.load();
        while (now > p && !peak.compare_exchange_weak(p, now)) {}
        std::lock_guard<std::mutex> guard(lock);
        if (!held.insert(b).second)
            doubleHandOuts++;
        seen.insert(b);
    }

    void give(ImageBuffer* b)
    {
        {
            std::lock_guard<std::mutex> guard(lock);
            held.erase(b);
        }
        busy--;
    }
};

// Acquire, hold, release until the pool answers nothing or rounds run out.
void worker(ImageBufferManager& pool, Ledger& ledger, int rounds, std::atomic<bool>& overMax)
{
    for (int i = 0; rounds < 0 || i < rounds; i++) {
        auto buffer = pool.acquireImageBuffer();
        if (buffer == nullptr)
            return;
        ledger.take(buffer.get());
        if (pool.getBusyBufferCount() > kMax)
            overMax = true;
        if (i % 3 == 0)
            std::this_thread::yield();
        ledger.give(buffer.get());
        pool.releaseImageBuffer(std::move(buffer));
    }
}

TEST(ImageBufferManagerStress, ContendedPoolLosesAndDuplicatesNothing)
{
    auto pool = makePool(0, kMax, "stress");
    Ledger ledger;
    std::atomic<bool> overMax{false};
    std::vector<std::future<void>> threads;
    for (int t = 0; t < kThreads; t++)
        threads.push_back(std::async(std::launch::async, worker, std::ref(*pool),
                                     std::ref(ledger), 2000, std::ref(overMax)));
    // A lost wake-up leaves a thread blocked for good.
    for (auto& t : threads)
        await(t, 120s);

    EXPECT_EQ(ledger.doubleHandOuts.load(), 0);
    EXPECT_LE(ledger.peak.load(), kMax);
    EXPECT_FALSE(overMax.load());
    EXPECT_LE(ledger.seen.size(), kMax);
    EXPECT_EQ(pool->getBusyBufferCount(), 0u);
    EXPECT_EQ(pool->getFreeBufferCount(), ledger.seen.size());
}

TEST(ImageBufferManagerStress, FlushEventuallyEndsEveryWaiter)
{
    auto pool = makePool(1, kMax, "flush");
    Ledger ledger;
    std::atomic<bool> overMax{false};
    std::vector<std::future<void>> threads;
    for (int t = 0; t < kThreads; t++)
        threads.push_back(std::async(std::launch::async, worker, std::ref(*pool),
                                     std::ref(ledger), -1, std::ref(overMax)));
    std::this_thread::sleep_for(100ms);

    // Each flush wakes one waiter, and so does each release after it.
    auto deadline = std::chrono::steady_clock::now() + 20s;
    for (auto& t : threads) {
        while (t.wait_for(1ms) != std::future_status::ready) {
            pool->flush();
            if (std::chrono::steady_clock::now() > deadline)
                await(t, 0s);
        }
    }
    EXPECT_EQ(ledger.doubleHandOuts.load(), 0);
    EXPECT_FALSE(overMax.load());
    EXPECT_EQ(pool->getBusyBufferCount(), 0u);
    EXPECT_EQ(pool->acquireImageBuffer(), nullptr);
}

} // namespace
