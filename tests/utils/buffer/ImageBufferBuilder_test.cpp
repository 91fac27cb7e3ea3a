#include <tamo/ImageBuffer.h>
#include <tamo/StreamBuffer.h>

#include <gtest/gtest.h>

#include <TamoLogCapture.h>
#include <TamoLogControl.h>

using namespace tamo;
using tamo::host::LogCapture;

namespace {

struct LevelGuard {
    uint32_t saved = g_logLv;
    ~LevelGuard() { g_logLv = saved; }
};

TEST(ImageBufferBuilder, RefusesBadSizeAndFormatWithoutCachingAnything)
{
    LogCapture capture;
    ImageBufferBuilder builder;
    builder.setImageFormat(0x11).setSize(0, 480);
    EXPECT_EQ(builder.build(), nullptr);
    auto r = capture.records();
    ASSERT_EQ(r.size(), 1u);
    EXPECT_EQ(r[0].message, "Invalid image size 0x480");
    EXPECT_EQ(r[0].function, "build");
    EXPECT_EQ(r[0].level, 0u);

    capture.clear();
    builder.setSize(64, 48).setImageFormat(0x22);
    EXPECT_EQ(builder.build(), nullptr);
    r = capture.records();
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r[0].message, "Currently not support format 0x22");
    EXPECT_EQ(r[1].format, "format %u not support");
    EXPECT_EQ(r[1].message, "format 34 not support");

    // The fallback value itself is refused as a request.
    builder.setImageFormat(0x4001);
    EXPECT_EQ(builder.build(), nullptr);
    EXPECT_TRUE(capture.hasMessage("format 16385 not support"));

    // Failed builds left no allocator behind: the fixed request is what is built.
    builder.setImageFormat(0x20203859).setSize(32, 16);
    auto buffer = builder.build();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer->getImageFormat(), 0x20203859u);
    EXPECT_EQ(buffer->getWidth(), 32u);
}

TEST(ImageBufferBuilder, FirstBuildFixesTheDescriptionForAllCopies)
{
    ImageBufferBuilder builder;
    builder.setImageFormat(0x11).setSize(64, 48).setRotation(90).setDataspace(7);
    builder.setProducerUsage(3).setConsumerUsage(5);
    ImageBufferBuilder copy = builder;
    auto first = copy.build();
    ASSERT_NE(first, nullptr);

    builder.setSize(128, 96).setImageFormat(0x23).setRotation(0);
    auto second = builder.build();
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    EXPECT_NE(*first->getBufferHandle(), *second->getBufferHandle());
    for (const auto& b : {first, second}) {
        EXPECT_EQ(b->getWidth(), 64u);
        EXPECT_EQ(b->getHeight(), 48u);
        EXPECT_EQ(b->getImageFormat(), 0x11u);
        EXPECT_EQ(b->getRotation(), 90u);
        EXPECT_EQ(b->getDataSpace(), 7);
        EXPECT_EQ(b->getProducerUsage(), 3u);
        EXPECT_EQ(b->getConsumerUsage(), 5u);
        EXPECT_EQ(b->getAcquireFence(), nullptr);
        EXPECT_EQ(b->getReleaseFence(), nullptr);
    }
    // The setters still reach the shared state, as the stream description shows.
    EXPECT_EQ(copy.getStreamInfo()->width, 128u);
}

TEST(ImageBufferBuilder, ImportHappensOnce)
{
    native_handle_t* raw = native_handle_create(0, 0);
    native_handle const* slot = raw;
    ImageBufferBuilder builder;
    builder.setImageFormat(0x11).setSize(64, 48).setBufferHandle(&slot);
    auto buffer = builder.build();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer->getBufferHandle(), &slot);

    LogCapture capture;
    EXPECT_EQ(builder.build(), nullptr);
    auto r = capture.records();
    ASSERT_EQ(r.size(), 1u);
    EXPECT_EQ(r[0].message, "error");
    EXPECT_EQ(r[0].function, "run");
    buffer.reset();
    // The caller's handle outlives the buffer that wrapped it.
    EXPECT_EQ(native_handle_delete(raw), 0);

    // A fence alone also imports, with no handle slot.
    ImageBufferBuilder fenced;
    fenced.setImageFormat(0x11).setSize(64, 48).setAcquireFence(nullptr);
    auto wrapped = fenced.build();
    ASSERT_NE(wrapped, nullptr);
    ASSERT_NE(wrapped->getBufferHandle(), nullptr);
    EXPECT_EQ(*wrapped->getBufferHandle(), nullptr);
    EXPECT_EQ(fenced.build(), nullptr);
}

TEST(ImageBufferBuilder, StreamInfoCopiesTheDescription)
{
    auto fresh = ImageBufferBuilder().getStreamInfo();
    EXPECT_EQ(fresh->streamId, -1);
    EXPECT_EQ(fresh->dataSpace, -1);
    EXPECT_EQ(fresh->physicalCameraId, 0);

    ImageBufferBuilder builder;
    builder.setStreamId(4).setSize(640, 480).setImageFormat(0x23).setDataspace(9);
    builder.setRotation(270).setProducerUsage(1ul << 40).setConsumerUsage(6);
    auto s = builder.getStreamInfo();
    EXPECT_EQ(s->streamId, 4);
    EXPECT_EQ(s->streamType, 0u);
    EXPECT_EQ(s->width, 640u);
    EXPECT_EQ(s->height, 480u);
    EXPECT_EQ(s->format, 0x23u);
    EXPECT_EQ(s->overrideFormat, 0x23u);
    EXPECT_EQ(s->dataSpace, 9);
    EXPECT_EQ(s->rotation, 270u);
    EXPECT_EQ(s->producerUsage, 1ul << 40);
    EXPECT_EQ(s->consumerUsage, 6u);
    EXPECT_EQ(s->usage, 0u);
    EXPECT_EQ(s->bufferSize, 0u);
    EXPECT_EQ(s->maxBuffers, 0u);
    EXPECT_EQ(s->overrideDataSpace, 0u);
    EXPECT_NE(s, builder.getStreamInfo());
}

TEST(ImageBufferBuilder, DumpIsGatedOnLevelTwo)
{
    LevelGuard guard;
    LogCapture capture;
    ImageBufferBuilder builder;
    builder.setImageFormat(0x11).setSize(64, 48).setConsumerUsage(7).setProducerUsage(9);
    g_logLv = 1;
    builder.dump();
    EXPECT_TRUE(capture.records().empty());

    g_logLv = 2;
    builder.dump();
    builder.setAcquireFence(nullptr);
    builder.dump();
    auto r = capture.records();
    const char* expected[] = {"Buffer builder :", "\t buffer allocated", "\t Image size : 64x48",
                              "\t Format nv21(17)", "\t Comsumer usage 7\t",
                              "\t Producer usage 9\t"};
    ASSERT_EQ(r.size(), 12u);
    for (size_t i = 0; i < 6; i++) {
        EXPECT_EQ(r[i].message, expected[i]);
        EXPECT_EQ(r[i].level, 2u);
        EXPECT_EQ(r[i].function, "dump");
    }
    EXPECT_EQ(r[7].message, "\t buffer imported");
}

} // namespace
