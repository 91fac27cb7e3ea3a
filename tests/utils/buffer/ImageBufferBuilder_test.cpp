#include <tamo/StreamBuffer.h>

#include <tuple>

#include "BufferTestSupport.h"

using namespace tamo;
using namespace buffertest;
using tamo::host::LogCapture;
using Lines = std::vector<std::string>;

namespace {

TEST(ImageBufferBuilder, RefusesBadRequestsWithoutCachingThem)
{
    LogCapture capture;
    ImageBufferBuilder b = builder(0x11, 0, 480);
    EXPECT_EQ(b.build(), nullptr);
    b.setSize(64, 48).setImageFormat(0x22);
    EXPECT_EQ(b.build(), nullptr);
    b.setImageFormat(0x4001);  // the fallback itself is refused
    EXPECT_EQ(b.build(), nullptr);
    EXPECT_EQ(lines(capture), (Lines{"build: Invalid image size 0x480",
                                     "getAllocationFormat: Currently not support format 0x22",
                                     "build: format 34 not support",
                                     "getAllocationFormat: Currently not support format 0x4001",
                                     "build: format 16385 not support"}));
    // No allocator was made: the corrected request is what gets built.
    auto buffer = b.setImageFormat(0x20203859).setSize(32, 16).build();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer->getImageFormat(), 0x20203859u);
    EXPECT_EQ(buffer->getWidth(), 32u);
}

TEST(ImageBufferBuilder, FirstBuildFixesTheDescriptionForAllCopies)
{
    ImageBufferBuilder b = builder(0x11, 64, 48);
    b.setRotation(90).setDataspace(7).setProducerUsage(3).setConsumerUsage(5);
    ImageBufferBuilder copy = b;
    auto first = copy.build();
    ASSERT_NE(first, nullptr);
    b.setSize(128, 96).setImageFormat(0x23).setRotation(0).setDataspace(1);
    auto second = b.build();
    ASSERT_NE(second, nullptr);
    EXPECT_NE(*first->getBufferHandle(), *second->getBufferHandle());
    auto desc = [](const std::shared_ptr<ImageBuffer>& i) {
        return std::make_tuple(i->getWidth(), i->getHeight(), i->getImageFormat(), i->getRotation(),
                               i->getDataSpace(), i->getProducerUsage(), i->getConsumerUsage());
    };
    EXPECT_EQ(desc(first), std::make_tuple(64u, 48u, 0x11u, 90u, 7, uint64_t(3), uint64_t(5)));
    EXPECT_EQ(desc(second), desc(first));
    EXPECT_EQ(copy.getStreamInfo()->width, 128u);  // setters still reach the shared state
}

TEST(ImageBufferBuilder, ImportHappensOnce)
{
    native_handle_t* raw = native_handle_create(0, 0);
    native_handle const* slot = raw;
    ImageBufferBuilder b = builder(0x11, 64, 48);
    auto buffer = b.setBufferHandle(&slot).build();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer->getBufferHandle(), &slot);
    LogCapture capture;
    EXPECT_EQ(b.build(), nullptr);
    EXPECT_EQ(lines(capture), Lines{"run: error"});
    buffer.reset();
    EXPECT_EQ(native_handle_delete(raw), 0);  // still the caller's to free

    // A fence alone imports too, with no handle slot.
    ImageBufferBuilder fenced = builder(0x11, 64, 48);
    auto wrapped = fenced.setAcquireFence(nullptr).build();
    ASSERT_NE(wrapped, nullptr);
    EXPECT_EQ(*wrapped->getBufferHandle(), nullptr);
    EXPECT_EQ(fenced.build(), nullptr);
}

TEST(ImageBufferBuilder, StreamInfoCopiesTheDescription)
{
    auto fresh = ImageBufferBuilder().getStreamInfo();
    EXPECT_EQ(fresh->streamId, -1);
    EXPECT_EQ(fresh->dataSpace, -1);
    EXPECT_EQ(fresh->physicalCameraId, 0);

    ImageBufferBuilder b = builder(0x23, 640, 480);
    b.setStreamId(4).setDataspace(9).setRotation(270).setProducerUsage(1ul << 40);
    auto s = b.setConsumerUsage(6).getStreamInfo();
    StreamInfo expected{4, 0, 640, 480, 0x23, 0, 9, 270, 0, 0, 1ul << 40, 6, 0x23, 0, 0};
    auto fields = [](const StreamInfo& i) {
        return std::make_tuple(i.streamId, i.streamType, i.width, i.height, i.format, i.usage,
                               i.dataSpace, i.rotation, i.physicalCameraId, i.bufferSize,
                               i.producerUsage, i.consumerUsage, i.overrideFormat, i.maxBuffers,
                               i.overrideDataSpace);
    };
    EXPECT_EQ(fields(*s), fields(expected));
    EXPECT_NE(s, b.getStreamInfo());
}

} // namespace
