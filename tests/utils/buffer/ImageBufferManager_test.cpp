#include <tamo/ImageBuffer.h>

#include <gtest/gtest.h>

#include <TamoLogCapture.h>
#include <TamoLogControl.h>

#include <thread>

#include "PoolTestSupport.h"

using namespace tamo;
using namespace pooltest;
using namespace std::chrono_literals;
using tamo::host::LogCapture;

namespace {

struct LevelGuard {
    uint32_t saved = g_logLv;
    ~LevelGuard() { g_logLv = saved; }
};

TEST(ImageBufferManagerBuilder, ValidatesAndRaisesMax)
{
    LevelGuard guard;
    g_logLv = 1;
    LogCapture capture;
    EXPECT_EQ(ImageBufferManagerBuilder().setMaxCount(2).build(), nullptr);
    EXPECT_EQ(ImageBufferManagerBuilder().setImageBufferBuilder(y8Builder()).build(), nullptr);
    auto r = capture.records();
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r[0].message, "Invalid image bilder.");
    EXPECT_EQ(r[1].message, "empty manager");
    EXPECT_EQ(r[1].function, "build");

    capture.clear();
    auto pool = makePool(3, 2);
    ASSERT_NE(pool, nullptr);
    EXPECT_EQ(capture.count("min > max", 1), 1u);
    EXPECT_EQ(pool->getMaxBufferCount(), 3u);
    EXPECT_EQ(pool->getMinBufferCount(), 3u);
    EXPECT_EQ(pool->getFreeBufferCount(), 3u);
    EXPECT_EQ(pool->getBusyBufferCount(), 0u);

    g_logLv = 0;
    capture.clear();
    makePool(3, 2);
    EXPECT_EQ(capture.count("min > max"), 0u);  // gated, not merely filtered
}

TEST(ImageBufferManagerBuilder, ShortPreallocationStillMakesAPool)
{
    LogCapture capture;
    auto pool = ImageBufferManagerBuilder()
                        .setMinCount(2)
                        .setMaxCount(2)
                        .setImageBufferBuilder(ImageBufferBuilder().setSize(8, 8).setImageFormat(0x22))
                        .build();
    ASSERT_NE(pool, nullptr);
    EXPECT_EQ(pool->getFreeBufferCount(), 0u);
    EXPECT_EQ(capture.count("Buffer allocation fail.", 0), 2u);
    EXPECT_EQ(capture.withFormat("Buffer allocation fail.")[0].function, "allocate");
    auto last = capture.records().back();
    EXPECT_EQ(last.message, "Something wrong!!!");
    EXPECT_EQ(last.function, "build");

    capture.clear();
    EXPECT_EQ(pool->acquireImageBuffer(), nullptr);
    EXPECT_EQ(capture.records().back().message, "empty buffer");
}

TEST(ImageBufferManager, HandsOutOldestReleaseFirstAndRejectsStrangers)
{
    auto pool = makePool(2, 3);
    auto a = pool->acquireImageBuffer();
    auto b = pool->acquireImageBuffer();
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(pool->getBusyBufferCount(), 2u);
    pool->releaseImageBuffer(b);
    pool->releaseImageBuffer(a);
    EXPECT_EQ(pool->acquireImageBuffer(), b);
    EXPECT_EQ(pool->acquireImageBuffer(), a);

    LogCapture capture;
    auto other = makePool(1, 1);
    auto stranger = other->acquireImageBuffer();
    pool->releaseImageBuffer(stranger);
    pool->releaseImageBuffer(a);
    pool->releaseImageBuffer(a);  // twice: no longer busy here
    EXPECT_EQ(capture.count("Return to wrong manager.", 0), 2u);
    EXPECT_EQ(pool->getBusyBufferCount(), 1u);
    EXPECT_EQ(pool->getFreeBufferCount(), 1u);
    other->releaseImageBuffer(stranger);
    pool->releaseImageBuffer(b);
}

TEST(ImageBufferManager, ReleaseResourceDropsOnlyFreeBuffers)
{
    auto pool = makePool(3, 3);
    auto held = pool->acquireImageBuffer();
    std::weak_ptr<ImageBuffer> dropped = pool->acquireImageBuffer();
    pool->releaseImageBuffer(dropped.lock());
    pool->releaseResource();
    EXPECT_TRUE(dropped.expired());
    EXPECT_EQ(pool->getFreeBufferCount(), 0u);
    EXPECT_EQ(pool->getBusyBufferCount(), 1u);
    // Room to grow again, up to the maximum.
    auto x = pool->acquireImageBuffer();
    auto y = pool->acquireImageBuffer();
    EXPECT_NE(x, nullptr);
    EXPECT_NE(y, nullptr);
    EXPECT_EQ(pool->getBusyBufferCount(), 3u);
    for (auto& buf : {held, x, y})
        pool->releaseImageBuffer(buf);
}

TEST(ImageBufferManager, BlockedAcquireWakesOnRelease)
{
    auto pool = makePool(0, 2);
    auto a = pool->acquireImageBuffer();
    auto b = pool->acquireImageBuffer();
    ASSERT_NE(b, nullptr);
    auto waiter = std::async(std::launch::async, [&] { return pool->acquireImageBuffer(); });
    EXPECT_EQ(waiter.wait_for(100ms), std::future_status::timeout);
    pool->releaseImageBuffer(a);
    EXPECT_EQ(await(waiter), a);
    pool->releaseImageBuffer(a);
    pool->releaseImageBuffer(b);
}

TEST(ImageBufferManager, FlushEndsWaitersAndLaterAcquires)
{
    LevelGuard guard;
    g_logLv = 2;
    auto pool = makePool(1, 1);
    auto held = pool->acquireImageBuffer();
    auto first = std::async(std::launch::async, [&] { return pool->acquireImageBuffer(); });
    auto second = std::async(std::launch::async, [&] { return pool->acquireImageBuffer(); });
    std::this_thread::sleep_for(50ms);
    LogCapture capture;
    pool->flush();
    // flush() wakes one waiter, the release the other.
    int woken = awaitEither(first, second);
    EXPECT_EQ((woken == 0 ? first : second).get(), nullptr);
    pool->releaseImageBuffer(held);
    EXPECT_EQ(await(woken == 0 ? second : first), nullptr);

    // Even with a free buffer, nothing is handed out any more.
    EXPECT_EQ(pool->getFreeBufferCount(), 1u);
    EXPECT_EQ(pool->acquireImageBuffer(), nullptr);
    EXPECT_EQ(capture.count("Signal by flush.", 2), 3u);
    g_logLv = 1;
    EXPECT_EQ(pool->acquireImageBuffer(), nullptr);
    EXPECT_EQ(capture.count("Signal by flush."), 3u);
}

TEST(ImageBufferManager, DumpAndUnreturnedBuffers)
{
    LevelGuard guard;
    g_logLv = 2;
    ImageBufferManagerBuilder builder;
    builder.setMinCount(1).setMaxCount(2).setName("preview").setImageBufferBuilder(y8Builder());
    auto pool = builder.build();
    auto second = builder.build();  // the name went to the first pool
    auto held = pool->acquireImageBuffer();

    LogCapture capture;
    pool->dump();
    second->dump();
    auto r = capture.records();
    ASSERT_EQ(r.size(), 20u);  // 4 pool lines and 6 builder lines, twice
    EXPECT_EQ(r[0].message, "Dump preview");
    EXPECT_EQ(r[1].message, "\t max : 2, min : 1");
    EXPECT_EQ(r[2].message, "\t Current free buffer 0");
    EXPECT_EQ(r[3].message, "\t Current busy buffer 1");
    EXPECT_EQ(r[4].message, "Buffer builder :");
    EXPECT_EQ(r[10].message, "Dump ");

    capture.clear();
    pool.reset();
    r = capture.records();
    ASSERT_EQ(r.size(), 1u);
    EXPECT_EQ(r[0].format, "%u buffer not return.");
    EXPECT_EQ(r[0].message, "1 buffer not return.");
    EXPECT_EQ(r[0].level, 1u);
    EXPECT_EQ(r[0].function, "~ImageBufferManagerImpl");
    EXPECT_EQ(held->getWidth(), 32u);  // outlives its pool

    g_logLv = 0;
    second->acquireImageBuffer();
    capture.clear();
    second.reset();
    EXPECT_TRUE(capture.records().empty());
}

} // namespace
