#include <tamo/StreamBuffer.h>

#include <functional>

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
    void collectBufferSet(Buffers buffers) override { sets.push_back(buffers); if (onSet) onSet(buffers); }
};

struct Requestor : IBufferRequestor {
    std::shared_ptr<ImageBuffer> answer;
    std::shared_ptr<StreamInfo> asked;
    int calls = 0;
    std::shared_ptr<ImageBuffer> requestBuffer(std::shared_ptr<StreamInfo> info) override
    { calls++; asked = info; return answer; }
};

std::shared_ptr<StreamInfo> stream(int id)
{
    auto info = std::make_shared<StreamInfo>();
    info->streamId = id;
    info->format = 0x11;
    return info;
}

std::shared_ptr<StreamBuffer> requested(int id, const std::shared_ptr<Collector>& collector,
                                        std::shared_ptr<Requestor> requestor = std::make_shared<Requestor>())
{
    return StreamBufferBuilder().setStreamInfo(stream(id)).setCollector(collector)
            .setImageBufferRequestor(requestor).build();
}

bool releaseAlone(const std::shared_ptr<StreamBuffer>& buffer)
{
    return dynamic_cast<StreamBufferImpl&>(*buffer).releaseBuffer();
}

TEST(StreamBufferBuilder, ChecksItsSourcesInOrder)
{
    auto image = builder(0x11, 64, 48).build();
    auto requestor = std::make_shared<Requestor>();
    std::weak_ptr<Collector> dead = std::make_shared<Collector>();
    LogCapture capture;
    // Each case also lacks what the later checks look at.
    ImageBufferBuilder broken = builder(0x11, 0, 48);
    EXPECT_EQ(StreamBufferBuilder().setImageBufferBuilder(broken).build(), nullptr);
    EXPECT_EQ(StreamBufferBuilder().setImageBuffer(image).setImageBufferRequestor(requestor).build(), nullptr);
    EXPECT_EQ(StreamBufferBuilder().setImageBufferRequestor(requestor).setCollector(dead).build(), nullptr);
    EXPECT_EQ(StreamBufferBuilder().setImageBufferRequestor(requestor)
                      .setCollector(std::make_shared<Collector>()).build(), nullptr);
    EXPECT_EQ(lines(capture), (Lines{"build: Invalid image size 0x48", "build: empty source",
                                     "build: invalid source", "build: requested buffer cannot return",
                                     "build: no stream info"}));
    EXPECT_EQ(capture.withFormat("no stream info", 0).at(0).file, "ImageBuffer.cpp");

    // A buffer given up front needs no way back, but then has none.
    auto given = StreamBufferBuilder().setImageBuffer(image).setCollector(dead).setStreamInfo(stream(1)).build();
    ASSERT_NE(given, nullptr);
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(given));
}

TEST(StreamBuffer, StreamIdRewritesTheSharedRecordFromOneUpAndNamesTheBuffer)
{
    auto info = stream(9);
    StreamBufferBuilder b;
    b.setImageBuffer(builder(0x11, 64, 48).build()).setStreamInfo(info);
    b.setStreamId(0).build();
    b.setStreamId(-4).build();
    EXPECT_EQ(info->streamId, 9);
    StreamBufferBuilder copy = b;
    EXPECT_EQ(copy.setStreamId(5).build()->getStreamInfo(), info);
    EXPECT_EQ(info->streamId, 5);

    StreamInfo local;  // copied: the caller's record stays as it was
    local.format = 0x22;
    local.overrideFormat = 0x11;
    EXPECT_EQ(b.setStreamInfo(local, true).setStreamId(3).build()->getInfo(), "[3]nv21");
    EXPECT_EQ(local.format, 0x22u);
    EXPECT_EQ(local.streamId, 0);

    auto buffer = requested(3, std::make_shared<Collector>());
    EXPECT_EQ(buffer->getBufferStatus(), AppBufferStatus::ERROR);
    EXPECT_EQ(buffer->getStatus(), "[3]nv21(err) ");
    buffer->setBufferStatus(AppBufferStatus::OK);
    EXPECT_EQ(buffer->getStatus(), "[3]nv21(ok) ");
    buffer->setBufferStatus(static_cast<AppBufferStatus>(2));
    EXPECT_EQ(buffer->getStatus(), "[3]nv21(ok) ");
    buffer->getStreamInfo()->format = 0x99;
    buffer->getStreamInfo()->streamId = -2;
    LogCapture capture;
    EXPECT_EQ(buffer->getInfo(), "[-2]");
    EXPECT_EQ(lines(capture), (Lines{"getFormatString: format not found. 0x99"}));
}

TEST(StreamBuffer, AsksTheRequestorUntilItAnswersAndDumpsOnlyWhatItHas)
{
    auto requestor = std::make_shared<Requestor>();
    auto buffer = requested(2, std::make_shared<Collector>(), requestor);
    LevelGuard level;
    g_logLv = 2;
    LogCapture capture;
    buffer->dump();
    EXPECT_EQ(capture.count("no image buffer to dump", 0), 1u);

    EXPECT_EQ(buffer->getImageBuffer(), nullptr);
    EXPECT_EQ(buffer->getImageBuffer(), nullptr);
    EXPECT_EQ(requestor->calls, 2);
    EXPECT_EQ(requestor->asked, buffer->getStreamInfo());
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
    auto buffer = requested(1, collector);
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(nullptr));
    EXPECT_TRUE(StreamBufferUtils::returnStreamBuffer(buffer));
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(buffer));
    EXPECT_FALSE(releaseAlone(buffer));
    EXPECT_EQ(collector->single, Buffers{buffer});
    EXPECT_TRUE(collector->sets.empty());

    auto orphan = requested(1, collector);
    std::weak_ptr<Collector> watch = collector;
    collector.reset();
    EXPECT_TRUE(watch.expired());  // the buffer did not keep it
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(orphan));
}

TEST(StreamBufferSetBuilder, FiltersByStreamAndNeedsSourceThenCollector)
{
    auto collector = std::make_shared<Collector>();
    auto a = requested(7, collector), b = requested(3, collector), c = requested(7, collector);
    std::weak_ptr<Collector> dead = std::make_shared<Collector>();
    LogCapture capture;
    StreamBufferSetBuilder byStream(7);
    EXPECT_EQ(byStream.setStreamBuffer(b).build(), nullptr);
    EXPECT_EQ(StreamBufferSetBuilder().setStreamBuffer(a).setCollector(dead).build(), nullptr);
    EXPECT_EQ(lines(capture), (Lines{"build: stream buffer set no source.", "build: no collector"}));

    auto set = byStream.setStreamBuffers({a, b, c}).setCollector(collector).build();
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(set->getSize(), 2u);
    EXPECT_EQ(set->getStreamBuffers(), (Buffers{a, c}));
    EXPECT_EQ(set->getStreamBuffer(0), a);
    EXPECT_EQ(set->getStreamBuffer(2), nullptr);
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

TEST(StreamBufferSet, GoesBackWholeOnceToTheNewestSetsCollector)
{
    auto older = std::make_shared<Collector>(), collector = std::make_shared<Collector>();
    auto a = requested(1, collector), b = requested(2, collector);
    auto first = StreamBufferSetBuilder().setStreamBuffer(b).setCollector(older).build();
    auto set = StreamBufferSetBuilder().setStreamBuffers({a, b}).setCollector(collector).build();
    std::vector<bool> alone;
    collector->onSet = [&](const Buffers& members) {
        for (const auto& m : members)
            alone.push_back(releaseAlone(m));
    };
    EXPECT_TRUE(StreamBufferUtils::returnStreamBuffer(b));
    EXPECT_EQ(alone, (std::vector<bool>{false, false}));  // marked before the call
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(a));
    EXPECT_FALSE(dynamic_cast<StreamBufferSetImpl&>(*set).releaseBufferSet());
    EXPECT_EQ(collector->sets, std::vector<Buffers>{(Buffers{a, b})});
    EXPECT_TRUE(collector->single.empty());
    EXPECT_TRUE(older->sets.empty());

    std::weak_ptr<Collector> watch = collector;
    collector.reset();
    EXPECT_TRUE(watch.expired());  // nor did the set keep it
}

TEST(StreamBufferSet, DiesBeforeItsBuffersWhichThenGoBackAlone)
{
    auto collector = std::make_shared<Collector>();
    auto kept = requested(4, collector), dropped = requested(5, collector);
    std::weak_ptr<StreamBuffer> droppedWatch = dropped;
    std::weak_ptr<StreamBufferSet> set =
            StreamBufferSetBuilder().setStreamBuffers({kept, dropped}).setCollector(collector).build();
    dropped.reset();
    EXPECT_TRUE(set.expired());
    EXPECT_TRUE(droppedWatch.expired());
    EXPECT_TRUE(StreamBufferUtils::returnStreamBuffer(kept));
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(kept));
    EXPECT_EQ(collector->single, Buffers{kept});
}

TEST(StreamBufferUtils, SharesPlatformRecordsAndClonesStreamInfo)
{
    auto info = stream(3);
    platform::AppStreamBuffer record;
    record.bufferId = 77;
    StreamBufferBuilder b;
    auto bare = b.setImageBuffer(builder(0x11, 64, 48).build()).setStreamInfo(info).build();
    auto with = b.setStreamBufferInfo(record).build();
    EXPECT_EQ(StreamBufferUtils::getHidlStreamInfo(bare), nullptr);
    ASSERT_NE(StreamBufferUtils::getHidlStreamInfo(with), nullptr);
    EXPECT_EQ(StreamBufferUtils::getHidlStreamInfo(with)->bufferId, 77u);
    EXPECT_EQ(StreamBufferUtils::fetchStreamInfo({bare, with, bare}), (std::vector{info, info, info}));
    EXPECT_TRUE(StreamBufferUtils::fetchStreamInfo({}).empty());

    info->maxBuffers = 6;
    auto clone = StreamBufferUtils::cloneStreamInfo(info);
    b.setStreamId(12).build();
    EXPECT_EQ(std::make_pair(clone->streamId, clone->maxBuffers), std::make_pair(3, 6u));
}

// Empty pointers are dropped or answered with empty ones, never handed to a
// collector nor followed.
TEST(StreamBufferUtils, RefuseEmptyPointers)
{
    auto collector = std::make_shared<Collector>();
    auto a = requested(7, collector);
    LogCapture capture;
    EXPECT_EQ(StreamBufferSetBuilder().setStreamBuffer(nullptr).setCollector(collector).build(), nullptr);
    EXPECT_EQ(StreamBufferSetBuilder(7).setStreamBuffers({nullptr, a}).setCollector(collector).build()->getSize(), 1u);
    auto set = StreamBufferSetBuilder().setStreamBuffers({nullptr, a, nullptr}).setCollector(collector).build();
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(set->getStreamBuffers(), Buffers{a});
    EXPECT_TRUE(StreamBufferUtils::returnStreamBuffer(a));
    EXPECT_EQ(collector->sets, std::vector<Buffers>{Buffers{a}});

    EXPECT_EQ(StreamBufferUtils::cloneStreamInfo(nullptr), nullptr);
    auto info = a->getStreamInfo();
    EXPECT_EQ(StreamBufferUtils::fetchStreamInfo({a, nullptr, a}), (std::vector<std::shared_ptr<StreamInfo>>{info, nullptr, info}));
    EXPECT_EQ(lines(capture), (Lines{"build: stream buffer set no source.", "cloneStreamInfo: no stream info",
                                     "fetchStreamInfo: empty stream buffer"}));
}

} // namespace
