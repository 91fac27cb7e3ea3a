#include "BufferTestSupport.h"

#include <thread>

using namespace tamo;
using namespace buffertest;
using namespace std::chrono_literals;
using tamo::host::LogCapture;
using Lines = std::vector<std::string>;

namespace {

TEST(ImageBufferManagerBuilder, ValidatesAndRaisesMax)
{
    LevelGuard guard;
    g_logLv = 1;
    LogCapture capture;
    EXPECT_EQ(ImageBufferManagerBuilder().setMaxCount(2).build(), nullptr);
    EXPECT_EQ(ImageBufferManagerBuilder().setImageBufferBuilder(builder(0x11, 8, 8)).build(),
              nullptr);
    auto pool = makePool(3, 2);
    ASSERT_NE(pool, nullptr);
    EXPECT_EQ(lines(capture), (Lines{"build: Invalid image bilder.", "build: empty manager",
                                     "build: min > max"}));
    EXPECT_EQ(capture.records().back().level, 1u);
    EXPECT_EQ(pool->getMaxBufferCount(), 3u);
    EXPECT_EQ(pool->getMinBufferCount(), 3u);
    EXPECT_EQ(pool->getFreeBufferCount(), 3u);
    EXPECT_EQ(pool->getBusyBufferCount(), 0u);
    g_logLv = 0;
    capture.clear();
    makePool(3, 2);
    EXPECT_TRUE(capture.records().empty());  // gated, not merely filtered
}

TEST(ImageBufferManagerBuilder, ShortPreallocationStillMakesAPool)
{
    LogCapture capture;
    auto pool = ImageBufferManagerBuilder().setMinCount(2).setMaxCount(2)
                        .setImageBufferBuilder(builder(0x22, 8, 8)).build();
    ASSERT_NE(pool, nullptr);
    EXPECT_EQ(pool->getFreeBufferCount(), 0u);
    EXPECT_EQ(pool->acquireImageBuffer(), nullptr);
    Lines got = lines(capture);
    EXPECT_EQ(std::count(got.begin(), got.end(), "allocate: Buffer allocation fail."), 2);
    EXPECT_EQ(capture.count("Something wrong!!!", 0), 1u);
    EXPECT_EQ(got.back(), "acquireImageBuffer: empty buffer");
}

TEST(ImageBufferManager, HandsOutOldestReleaseFirstAndRejectsStrangers)
{
    auto pool = makePool(2, 3);
    auto a = pool->acquireImageBuffer();
    auto b = pool->acquireImageBuffer();
    ASSERT_TRUE(a && b);
    pool->releaseImageBuffer(b);
    pool->releaseImageBuffer(a);
    EXPECT_EQ(pool->acquireImageBuffer(), b);
    EXPECT_EQ(pool->acquireImageBuffer(), a);

    auto other = makePool(1, 1);
    auto stranger = other->acquireImageBuffer();
    LogCapture capture;
    pool->releaseImageBuffer(stranger);
    pool->releaseImageBuffer(a);
    pool->releaseImageBuffer(a);  // a second time: no longer busy here
    EXPECT_EQ(lines(capture), Lines(2, "releaseImageBuffer: Return to wrong manager."));
    EXPECT_EQ(pool->getBusyBufferCount(), 1u);
    EXPECT_EQ(pool->getFreeBufferCount(), 1u);
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
    EXPECT_TRUE(pool->acquireImageBuffer() && pool->acquireImageBuffer());  // grows again
    EXPECT_EQ(pool->getBusyBufferCount(), 3u);
}

TEST(ImageBufferManager, BlockedAcquireWakesOnRelease)
{
    auto pool = makePool(0, 2);
    auto a = pool->acquireImageBuffer();
    auto b = pool->acquireImageBuffer();
    auto waiter = std::async(std::launch::async, [&] { return pool->acquireImageBuffer(); });
    EXPECT_EQ(waiter.wait_for(100ms), std::future_status::timeout);
    pool->releaseImageBuffer(a);
    awaitAny<std::shared_ptr<ImageBuffer>>({&waiter});
    EXPECT_EQ(waiter.get(), a);
}

TEST(ImageBufferManager, FlushEndsWaitersAndLaterAcquires)
{
    LevelGuard guard;
    g_logLv = 2;
    auto pool = makePool(1, 1);
    auto held = pool->acquireImageBuffer();
    using Waiter = std::future<std::shared_ptr<ImageBuffer>>;
    Waiter first = std::async(std::launch::async, [&] { return pool->acquireImageBuffer(); });
    Waiter second = std::async(std::launch::async, [&] { return pool->acquireImageBuffer(); });
    std::this_thread::sleep_for(50ms);
    LogCapture capture;
    pool->flush();  // wakes one waiter; the release below wakes the other
    Waiter* woken = awaitAny<std::shared_ptr<ImageBuffer>>({&first, &second}) ? &second : &first;
    EXPECT_EQ(woken->get(), nullptr);
    pool->releaseImageBuffer(held);
    Waiter* last = woken == &first ? &second : &first;
    awaitAny<std::shared_ptr<ImageBuffer>>({last});
    EXPECT_EQ(last->get(), nullptr);

    EXPECT_EQ(pool->getFreeBufferCount(), 1u);
    EXPECT_EQ(pool->acquireImageBuffer(), nullptr);  // even with a free buffer
    EXPECT_EQ(capture.count("Signal by flush.", 2), 3u);
    g_logLv = 1;
    EXPECT_EQ(pool->acquireImageBuffer(), nullptr);
    EXPECT_EQ(capture.count("Signal by flush."), 3u);
}

TEST(ImageBufferManager, DumpAndUnreturnedBuffers)
{
    LevelGuard guard;
    g_logLv = 2;
    ImageBufferManagerBuilder mb;
    mb.setMinCount(1).setMaxCount(2).setName("preview")
            .setImageBufferBuilder(builder(0x11, 8, 8).setConsumerUsage(7).setProducerUsage(9));
    auto pool = mb.build();
    auto second = mb.build();
    auto held = pool->acquireImageBuffer();
    LogCapture capture;
    g_logLv = 1;
    pool->dump();  // builder lines included, all gated
    EXPECT_TRUE(capture.records().empty());
    g_logLv = 2;
    pool->dump();
    mb.setImageBufferBuilder(builder(0x11, 8, 8).setAcquireFence(nullptr)).build()->dump();
    Lines got = lines(capture);
    ASSERT_EQ(got.size(), 20u);
    EXPECT_EQ(Lines(got.begin(), got.begin() + 10),
              (Lines{"dump: Dump preview", "dump: \t max : 2, min : 1",
                     "dump: \t Current free buffer 0", "dump: \t Current busy buffer 1",
                     "dump: Buffer builder :", "dump: \t buffer allocated",
                     "dump: \t Image size : 8x8", "dump: \t Format nv21(17)",
                     "dump: \t Comsumer usage 7\t", "dump: \t Producer usage 9\t"}));
    EXPECT_EQ(got[10], "dump: Dump ");  // the name went to the first pool
    EXPECT_EQ(got[15], "dump: \t buffer imported");
    capture.clear();
    pool.reset();
    EXPECT_EQ(lines(capture), Lines{"~ImageBufferManagerImpl: 1 buffer not return."});
    EXPECT_EQ(capture.count("%u buffer not return.", 1), 1u);
    EXPECT_EQ(held->getWidth(), 8u);  // outlives its pool
    g_logLv = 0;
    held = second->acquireImageBuffer();
    capture.clear();
    second.reset();
    EXPECT_TRUE(capture.records().empty());
}

} // namespace
