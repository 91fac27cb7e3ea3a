#include <tamo/StreamBuffer.h>

#include <functional>
#include <tuple>

#include "BufferTestSupport.h"
#include "buffer/StreamBufferPrivate.h"

using namespace tamo;
using namespace buffertest;
using tamo::host::LogCapture;
using tamo::platform::AppBufferStatus;
using Lines = std::vector<std::string>;
using Buffers = std::vector<std::shared_ptr<StreamBuffer>>;

namespace {

struct Collector : IBufferCollector {
    Buffers single;
    std::vector<Buffers> sets;
    std::function<void(const Buffers&)> onSet;
    void collectBuffer(std::shared_ptr<StreamBuffer> buffer) override { single.push_back(buffer); }
    void collectBufferSet(Buffers buffers) override
    {
        sets.push_back(buffers);
        if (onSet)
            onSet(buffers);
    }
};

struct Requestor : IBufferRequestor {
    std::shared_ptr<ImageBuffer> answer;
    std::shared_ptr<StreamInfo> asked;
    int calls = 0;
    std::shared_ptr<ImageBuffer> requestBuffer(std::shared_ptr<StreamInfo> info) override
    {
        calls++;
        asked = info;
        return answer;
    }
};

std::shared_ptr<StreamInfo> stream(int id, unsigned int format = 0x11)
{
    auto info = std::make_shared<StreamInfo>();
    info->streamId = id;
    info->format = format;
    return info;
}

std::shared_ptr<StreamBuffer> fromRequestor(std::shared_ptr<StreamInfo> info,
                                            const std::shared_ptr<Collector>& collector,
                                            std::shared_ptr<Requestor> requestor = nullptr)
{
    return StreamBufferBuilder().setStreamInfo(std::move(info)).setCollector(collector)
            .setImageBufferRequestor(requestor ? requestor : std::make_shared<Requestor>()).build();
}

StreamBufferImpl& impl(const std::shared_ptr<StreamBuffer>& buffer)
{
    return dynamic_cast<StreamBufferImpl&>(*buffer);
}

TEST(StreamBufferBuilder, ChecksItsSourcesInOrder)
{
    auto image = builder(0x11, 64, 48).build();
    auto requestor = std::make_shared<Requestor>();
    std::weak_ptr<Collector> dead = std::make_shared<Collector>();
    auto live = std::make_shared<Collector>();
    LogCapture capture;

    ImageBufferBuilder broken = builder(0x11, 0, 48);
    EXPECT_EQ(StreamBufferBuilder().setImageBufferBuilder(broken).build(), nullptr);
    // Each stage is missing everything the later checks look at too.
    EXPECT_EQ(StreamBufferBuilder().setImageBuffer(image).setImageBufferRequestor(requestor).build(),
              nullptr);
    EXPECT_EQ(StreamBufferBuilder().setImageBufferRequestor(requestor).setCollector(dead).build(),
              nullptr);
    EXPECT_EQ(StreamBufferBuilder().setImageBufferRequestor(requestor).setCollector(live).build(),
              nullptr);
    EXPECT_EQ(lines(capture), (Lines{"build: Invalid image size 0x48", "build: empty source",
                                     "build: invalid source", "build: requested buffer cannot return",
                                     "build: no stream info"}));
    for (const auto& r : capture.records())
        EXPECT_EQ(r.level, 0u);
    EXPECT_EQ(capture.records()[1].file, "ImageBuffer.cpp");

    // A buffer given up front needs no way back, but then has none.
    auto given = StreamBufferBuilder().setImageBuffer(image).setCollector(dead)
            .setStreamInfo(stream(1)).setRequestNumber(42).build();
    ASSERT_NE(given, nullptr);
    EXPECT_EQ(given->getImageBuffer(), image);
    EXPECT_EQ(given->getRequestNumber(), 42u);
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(given));
    EXPECT_EQ(requestor->calls, 0);
}

TEST(StreamBufferBuilder, StreamIdRewritesTheSharedRecordFromOneUp)
{
    auto image = builder(0x11, 64, 48).build();
    auto info = stream(9);
    StreamBufferBuilder b;
    b.setImageBuffer(image).setStreamInfo(info);
    for (int id : {0, -4}) {
        ASSERT_NE(b.setStreamId(id).build(), nullptr);
        EXPECT_EQ(info->streamId, 9);
    }
    StreamBufferBuilder copy = b;
    auto buffer = copy.setStreamId(5).build();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer->getStreamInfo(), info);
    EXPECT_EQ(info->streamId, 5);

    // A copied record: the caller's stays as it was.
    StreamInfo local;
    local.format = 0x22;
    local.overrideFormat = 0x11;
    auto overridden = b.setStreamInfo(local, true).setStreamId(3).build();
    EXPECT_EQ(overridden->getInfo(), "[3]nv21");
    EXPECT_EQ(local.format, 0x22u);
    EXPECT_EQ(local.streamId, 0);
    EXPECT_EQ(b.setStreamInfo(local, false).build()->getStreamInfo()->format, 0x22u);
}

TEST(StreamBuffer, StatusStartsInErrorAndReadsWithTrailingBlank)
{
    auto buffer = StreamBufferBuilder().setImageBuffer(builder(0x11, 64, 48).build())
            .setStreamInfo(stream(3)).build();
    EXPECT_EQ(buffer->getBufferStatus(), AppBufferStatus::ERROR);
    EXPECT_EQ(buffer->getStatus(), "[3]nv21(err) ");
    buffer->setBufferStatus(AppBufferStatus::OK);
    EXPECT_EQ(buffer->getStatus(), "[3]nv21(ok) ");
    buffer->setBufferStatus(static_cast<AppBufferStatus>(2));
    EXPECT_EQ(buffer->getStatus(), "[3]nv21(ok) ");

    buffer->getStreamInfo()->format = 0x99;
    buffer->getStreamInfo()->streamId = -2;
    EXPECT_EQ(buffer->getInfo(), "[-2]");
}

TEST(StreamBuffer, AsksTheRequestorUntilItAnswers)
{
    auto collector = std::make_shared<Collector>();
    auto requestor = std::make_shared<Requestor>();
    auto info = stream(2);
    auto buffer = fromRequestor(info, collector, requestor);
    ASSERT_NE(buffer, nullptr);

    LevelGuard level;
    g_logLv = 2;
    LogCapture capture;
    buffer->dump();  // refused: dumping does not request
    EXPECT_EQ(lines(capture), (Lines{"dump: no image buffer to dump"}));
    EXPECT_EQ(capture.records()[0].level, 0u);
    EXPECT_EQ(requestor->calls, 0);

    EXPECT_EQ(buffer->getImageBuffer(), nullptr);
    EXPECT_EQ(buffer->getImageBuffer(), nullptr);
    EXPECT_EQ(requestor->calls, 2);
    EXPECT_EQ(requestor->asked, info);
    requestor->answer = builder(0x11, 64, 48).build();
    EXPECT_EQ(buffer->getImageBuffer(), requestor->answer);
    EXPECT_EQ(buffer->getImageBuffer(), requestor->answer);
    EXPECT_EQ(requestor->calls, 3);

    capture.clear();
    buffer->dump();
    EXPECT_EQ(capture.count("\t Size : %ux%u", 2), 1u);
}

TEST(StreamBuffer, GoesBackAloneOnceAndOnlyWhileTheCollectorLives)
{
    auto collector = std::make_shared<Collector>();
    auto buffer = fromRequestor(stream(1), collector);
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(nullptr));
    EXPECT_TRUE(StreamBufferUtils::returnStreamBuffer(buffer));
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(buffer));
    EXPECT_FALSE(impl(buffer).releaseBuffer());
    EXPECT_EQ(collector->single, Buffers{buffer});
    EXPECT_TRUE(collector->sets.empty());

    // Neither the buffer nor the builder keeps the collector alive.
    auto orphan = fromRequestor(stream(1), collector);
    std::weak_ptr<Collector> watch = collector;
    collector.reset();
    EXPECT_TRUE(watch.expired());
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(orphan));
}

TEST(StreamBufferSetBuilder, FiltersByStreamAndNeedsSourceThenCollector)
{
    auto collector = std::make_shared<Collector>();
    auto a = fromRequestor(stream(7), collector), b = fromRequestor(stream(3), collector),
         c = fromRequestor(stream(7), collector);
    LogCapture capture;
    StreamBufferSetBuilder byStream(7);
    EXPECT_EQ(byStream.setStreamBuffer(b).build(), nullptr);
    EXPECT_EQ(StreamBufferSetBuilder(7).setStreamBuffers({b}).build(), nullptr);
    std::weak_ptr<Collector> dead = std::make_shared<Collector>();
    EXPECT_EQ(StreamBufferSetBuilder().setStreamBuffer(a).setCollector(dead).build(), nullptr);
    EXPECT_EQ(lines(capture), (Lines{"build: stream buffer set no source.",
                                     "build: stream buffer set no source.", "build: no collector"}));
    EXPECT_EQ(capture.count("no collector", 0), 1u);

    auto set = byStream.setStreamBuffers({a, b, c}).setCollector(collector).build();
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(set->getSize(), 2u);
    EXPECT_EQ(set->getStreamBuffers(), (Buffers{a, c}));
    EXPECT_EQ(set->getStreamBuffer(0), a);
    EXPECT_EQ(set->getStreamBuffer(2), nullptr);
    // No filter: everything, duplicates included.
    EXPECT_EQ(StreamBufferSetBuilder().setStreamBuffers({b, b}).setCollector(collector).build()
                      ->getSize(), 2u);

    LevelGuard level;
    capture.clear();
    g_logLv = 1;
    set->dump();
    g_logLv = 2;
    set->dump();
    EXPECT_EQ(lines(capture), (Lines{"dump: contain 2 of stream buffer"}));
}

TEST(StreamBufferSet, GoesBackWholeOnceWithMembersMarkedFirst)
{
    auto collector = std::make_shared<Collector>();
    auto a = fromRequestor(stream(1), collector), b = fromRequestor(stream(2), collector);
    auto set = StreamBufferSetBuilder().setStreamBuffers({a, b}).setCollector(collector).build();
    std::vector<bool> memberRelease;
    collector->onSet = [&](const Buffers& members) {
        for (const auto& m : members)
            memberRelease.push_back(impl(m).releaseBuffer());
    };
    EXPECT_TRUE(StreamBufferUtils::returnStreamBuffer(b));
    EXPECT_EQ(memberRelease, (std::vector<bool>{false, false}));
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(a));
    EXPECT_FALSE(static_cast<StreamBufferSetImpl&>(*set).releaseBufferSet());
    EXPECT_EQ(collector->sets, std::vector<Buffers>{(Buffers{a, b})});
    EXPECT_TRUE(collector->single.empty());
}

TEST(StreamBufferSet, OwnsItsBuffersButNotTheReverse)
{
    auto first = std::make_shared<Collector>(), second = std::make_shared<Collector>();
    auto shared = fromRequestor(stream(1), first);
    auto set1 = StreamBufferSetBuilder().setStreamBuffer(shared).setCollector(first).build();
    auto set2 = StreamBufferSetBuilder().setStreamBuffer(shared).setCollector(second).build();
    EXPECT_TRUE(StreamBufferUtils::returnStreamBuffer(shared));  // the newest set
    EXPECT_EQ(second->sets.size(), 1u);
    EXPECT_TRUE(first->sets.empty());

    // A set alive with its buffers does not keep the collector.
    std::weak_ptr<Collector> watch = second;
    second.reset();
    EXPECT_TRUE(watch.expired());

    // The set dies even while a member lives; that member then goes back alone.
    auto alone = fromRequestor(stream(4), first);
    std::weak_ptr<StreamBuffer> unheld = fromRequestor(stream(5), first);
    auto set3 = StreamBufferSetBuilder().setStreamBuffers({alone, unheld.lock()})
            .setCollector(first).build();
    std::weak_ptr<StreamBufferSet> setWatch = set3;
    set3.reset();
    EXPECT_TRUE(setWatch.expired());
    EXPECT_TRUE(unheld.expired());
    EXPECT_TRUE(StreamBufferUtils::returnStreamBuffer(alone));
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(alone));
    EXPECT_EQ(first->single, Buffers{alone});
    EXPECT_TRUE(first->sets.empty());
}

TEST(StreamBufferUtils, SharesPlatformRecordsAndClonesStreamInfo)
{
    auto image = builder(0x11, 64, 48).build();
    auto info = stream(3);
    platform::AppStreamBuffer record;
    record.bufferId = 77;
    auto bare = StreamBufferBuilder().setImageBuffer(image).setStreamInfo(info).build();
    auto with = StreamBufferBuilder().setImageBuffer(image).setStreamInfo(info)
            .setStreamBufferInfo(record).build();
    EXPECT_EQ(StreamBufferUtils::getHidlStreamInfo(nullptr), nullptr);
    EXPECT_EQ(StreamBufferUtils::getHidlStreamInfo(bare), nullptr);
    ASSERT_NE(StreamBufferUtils::getHidlStreamInfo(with), nullptr);
    EXPECT_EQ(StreamBufferUtils::getHidlStreamInfo(with)->bufferId, 77u);
    EXPECT_EQ(StreamBufferUtils::getHidlStreamInfo(with), StreamBufferUtils::getHidlStreamInfo(with));

    EXPECT_EQ(StreamBufferUtils::fetchStreamInfo({bare, with, bare}),
              (std::vector<std::shared_ptr<StreamInfo>>{info, info, info}));
    EXPECT_TRUE(StreamBufferUtils::fetchStreamInfo({}).empty());

    StreamInfo full{4, 1, 640, 480, 0x23, 8, -7, 90, 2, 1000, 16, 32, 0x11, 6, 9};
    auto source = std::make_shared<StreamInfo>(full);
    auto clone = StreamBufferUtils::cloneStreamInfo(source);
    ASSERT_NE(clone, source);
    StreamBufferBuilder().setImageBuffer(image).setStreamInfo(source).setStreamId(12).build();
    EXPECT_EQ(source->streamId, 12);
    auto fields = [](const StreamInfo& s) {
        return std::make_tuple(s.streamId, s.streamType, s.width, s.height, s.format, s.usage,
                               s.dataSpace, s.rotation, s.physicalCameraId, s.bufferSize,
                               s.producerUsage, s.consumerUsage, s.overrideFormat, s.maxBuffers,
                               s.overrideDataSpace);
    };
    EXPECT_EQ(fields(*clone), fields(full));
}

} // namespace
