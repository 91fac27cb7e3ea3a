#include <tuple>

#include "BufferTestSupport.h"
#include "ThreadWatch.h"
#include "buffer/ImageBufferPrivate.h"

using namespace tamo;
using namespace buffertest;
using namespace std::chrono_literals;
using Waiter = std::future<std::shared_ptr<ImageBuffer>>;

namespace {

// Which formats build at all is the image buffer fuzzer's model.
TEST(ImageBufferBuilder, FirstGoodBuildFixesTheDescriptionAndImportsOnce)
{
    Logged capture(1);
    ImageBufferBuilder b = builder(0x11, 0, 480);
    EXPECT_EQ(b.build(), nullptr);
    EXPECT_EQ(b.setSize(64, 48).setImageFormat(0x22).build(), nullptr);
    EXPECT_EQ(lines(capture), (Lines{"0 build: Invalid image size 0x480",
                                     "0 getAllocationFormat: Currently not support format 0x22",
                                     "0 build: format 34 not support"}));

    // Refusals cached nothing; what builds first is what every copy builds.
    ImageBufferBuilder copy = b.setImageFormat(0x11).setRotation(90).setDataspace(7).setProducerUsage(3);
    auto first = copy.setConsumerUsage(5).build();
    auto second = b.setSize(128, 96).setImageFormat(0x23).setRotation(0).setDataspace(1).build();
    ASSERT_TRUE(first && second && *first->getBufferHandle() != *second->getBufferHandle());
    for (const auto& i : {first, second})
        EXPECT_EQ(std::make_tuple(i->getWidth(), i->getHeight(), i->getImageFormat(), i->getRotation(),
                                  i->getDataSpace(), i->getProducerUsage(), i->getConsumerUsage()),
                  std::make_tuple(64u, 48u, 0x11u, 90u, 7, uint64_t(3), uint64_t(5)));

    // An import wraps the caller's handle slot, once.
    native_handle const* slot = nullptr;
    ImageBufferBuilder imported = builder(0x11, 64, 48).setBufferHandle(&slot);
    auto wrapper = imported.build();
    EXPECT_TRUE(wrapper && wrapper->getBufferHandle() == &slot);
    capture.clear();
    EXPECT_EQ(imported.build(), nullptr);

    // A pool's builder refuses an empty description or maximum, raises the
    // maximum to the minimum and preallocates that; a pool short of its
    // minimum is the failed allocation test's.
    EXPECT_EQ(ImageBufferManagerBuilder().setMaxCount(2).build(), nullptr);
    EXPECT_EQ(ImageBufferManagerBuilder().setImageBufferBuilder(builder(0x11, 8, 8)).build(), nullptr);
    auto pool = makePool(3, 2);
    g_logLv = 0;
    makePool(3, 2); // gated, not merely filtered
    EXPECT_EQ(lines(capture), (Lines{"0 run: error", "0 build: Invalid image bilder.", "0 build: empty manager",
                                     "1 build: min > max"}));
    EXPECT_TRUE(pool && pool->getMaxBufferCount() == 3 && pool->getFreeBufferCount() == 3);
}

TEST(ImageBufferManager, OldestReleaseFirstStrangersRefusedAndAFullPoolBlocks)
{
    Logged capture(2);
    auto pool = makePool(2, 3), other = makePool(1, 1);
    auto a = pool->acquireImageBuffer(), b = pool->acquireImageBuffer();
    pool->releaseImageBuffer(b);
    pool->releaseImageBuffer(a);
    EXPECT_TRUE(pool->acquireImageBuffer() == b && pool->acquireImageBuffer() == a);

    pool->releaseImageBuffer(other->acquireImageBuffer());
    pool->releaseImageBuffer(a);
    pool->releaseImageBuffer(a); // a second time: no longer busy here
    EXPECT_EQ(lines(capture), Lines(2, "0 releaseImageBuffer: Return to wrong manager."));
    EXPECT_EQ(std::make_pair(pool->getBusyBufferCount(), pool->getFreeBufferCount()), std::make_pair(1u, 1u));
    pool->releaseResource(); // drops the free one: the pool grows again, to its maximum
    EXPECT_TRUE(pool->acquireImageBuffer() && pool->acquireImageBuffer() && pool->getFreeBufferCount() == 0);

    // Full: an acquire waits for a release, or a flush.
    Waiter waiter = std::async(std::launch::async, [&] { return pool->acquireImageBuffer(); });
    EXPECT_EQ(waiter.wait_for(100ms), std::future_status::timeout);
    pool->releaseImageBuffer(b);
    EXPECT_EQ(await(waiter), b);
    waiter = std::async(std::launch::async, [&] { return pool->acquireImageBuffer(); });
    capture.clear();
    pool->flush();
    EXPECT_EQ(await(waiter), nullptr);
    pool->releaseImageBuffer(b);
    EXPECT_EQ(pool->acquireImageBuffer(), nullptr); // even with a free buffer
    g_logLv = 1;
    EXPECT_EQ(pool->acquireImageBuffer(), nullptr);
    EXPECT_EQ(lines(capture), Lines(2, "2 acquireImageBuffer: Signal by flush."));
}

// Two waiters on a full pool; a release wakes one, but the freed buffer is
// dropped before it runs and its growth fails. It must pass the wake-up on:
// the other waiter is not left asleep while nothing is busy. Both waiters
// are held still from before the release until after the drop, so the
// woken one cannot take the buffer first.
TEST(ImageBufferManager, AWaiterWhoseGrowthFailsWakesTheNext)
{
    LogCapture capture;
    native_handle const* slot = nullptr; // imported once, then every build fails
    auto pool = ImageBufferManagerBuilder().setMinCount(1).setMaxCount(1)
                        .setImageBufferBuilder(builder(0x11, 8, 8).setBufferHandle(&slot)).build();
    auto held = pool->acquireImageBuffer();
    pthread_t threads[2];
    std::atomic<long> ids[2] = {0, 0};
    auto wait = [&](int i) {
        threads[i] = pthread_self();
        ids[i] = testsupport::threadId();
        return pool->acquireImageBuffer();
    };
    Waiter first = std::async(std::launch::async, wait, 0), second = std::async(std::launch::async, wait, 1);
    struct Release { // on any way out, so that no waiter outlives the test
        ~Release() { pool->flush(), pool->flush(); }
        std::shared_ptr<ImageBufferManager> pool;
    } release{pool};
    auto parked = [&](int i) { return ids[i] && parkedOn(ids[i], pool.get(), sizeof(ImageBufferManagerImpl), true); };
    ASSERT_TRUE(testsupport::waitUntil([&] { return parked(0) && parked(1); })); // both wait on the pool's condition
    {
        testsupport::Freeze freeze({threads[0], threads[1]});
        ASSERT_TRUE(freeze.holding());
        pool->releaseImageBuffer(held);
        pool->releaseResource();
    }
    EXPECT_EQ(await(first, 5), nullptr);
    EXPECT_EQ(await(second, 5), nullptr);
    EXPECT_EQ(capture.count("empty buffer", 0), 2u);
}

TEST(ImageBufferManager, DumpsAndUnreturnedBuffers)
{
    ImageBufferManagerBuilder mb;
    mb.setMinCount(1).setMaxCount(2).setName("preview")
            .setImageBufferBuilder(builder(0x11, 8, 6).setConsumerUsage(7).setProducerUsage(9));
    auto pool = mb.build();
    auto held = pool->acquireImageBuffer();
    native_handle const* slot = *held->getBufferHandle();
    auto imported = mb.setImageBufferBuilder(builder(0x11, 8, 6).setBufferHandle(&slot)).build();
    auto wrapper = imported->acquireImageBuffer();
    Logged capture;
    for (g_logLv = 1; g_logLv <= 2; g_logLv++) { // every line is at level 2, gated on it
        pool->dump();
        held->dump();
    }
    imported->dump();
    wrapper->dump();
    Lines expected;
    for (const char* line : {"Dump preview", "\t max : 2, min : 1", "\t Current free buffer 0", "\t Current busy buffer 1",
                             "Buffer builder :", "\t buffer allocated", "\t Image size : 8x6", "\t Format nv21(17)",
                             "\t Comsumer usage 7\t", "\t Producer usage 9\t", "\t Source : allocated buffer",
                             "\t Size : 8x6", "\t Format : nv21(17)", "\t Usage : (producer/consumer)=(0x9/0x7)"})
        expected.push_back(std::string("2 dump: ") + line);
    Lines got = lines(capture);
    ASSERT_EQ(got.size(), 28u);
    EXPECT_EQ(Lines(got.begin(), got.begin() + 14), expected);
    EXPECT_EQ(std::make_tuple(got[14], got[19], got[24]), // the first build took the name
              std::make_tuple("2 dump: Dump ", "2 dump: \t buffer imported", "2 dump: \t Source : imported buffer"));

    capture.clear();
    pool.reset();
    g_logLv = 0;
    imported.reset(); // gated, not merely filtered
    EXPECT_EQ(lines(capture), Lines{"1 ~ImageBufferManagerImpl: 1 buffer not return."});
}

} // namespace
