#include <tamo/StreamBuffer.h>

#include <functional>

#include "BufferTestSupport.h"
#include "buffer/StreamBufferPrivate.h"

using namespace tamo;
using namespace buffertest;
using tamo::platform::AppBufferStatus;
using Buffers = std::vector<std::shared_ptr<StreamBuffer>>;
using Infos = std::vector<std::shared_ptr<StreamInfo>>;

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
    Infos asked; // one per call
    std::shared_ptr<ImageBuffer> requestBuffer(std::shared_ptr<StreamInfo> info) override
    { asked.push_back(info); return answer; }
};

std::shared_ptr<StreamInfo> stream(int id) // nv21
{
    return std::make_shared<StreamInfo>(StreamInfo{id, 0, 0, 0, 0x11, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
}

std::shared_ptr<StreamBuffer> requested(int id, const std::shared_ptr<Collector>& collector,
                                        std::shared_ptr<Requestor> requestor = std::make_shared<Requestor>())
{
    return StreamBufferBuilder().setStreamInfo(stream(id)).setCollector(collector)
            .setImageBufferRequestor(requestor).build();
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

    // A buffer given up front needs no way back, but then has none.
    auto given = StreamBufferBuilder().setImageBuffer(image).setCollector(dead).setStreamInfo(stream(1)).build();
    ASSERT_NE(given, nullptr);
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(given));
}

TEST(StreamBufferBuilder, SharesTheStreamRecordAndRewritesItsIdFromOneUp)
{
    auto info = stream(9);
    StreamBufferBuilder b;
    auto bare = b.setImageBuffer(builder(0x11, 64, 48).build()).setStreamInfo(info).setStreamId(0).build();
    b.setStreamId(-4).build();
    auto clone = StreamBufferUtils::cloneStreamInfo(info);
    EXPECT_EQ(info->streamId, 9);
    platform::AppStreamBuffer record;
    record.bufferId = 77;
    StreamBufferBuilder copy = b;
    auto with = copy.setStreamId(5).setStreamBufferInfo(record).build();
    EXPECT_EQ(with->getStreamInfo(), info);
    EXPECT_EQ(std::make_pair(info->streamId, clone->streamId), std::make_pair(5, 9));
    EXPECT_EQ(StreamBufferUtils::getHidlStreamInfo(bare), nullptr);
    auto shared = StreamBufferUtils::getHidlStreamInfo(with);
    EXPECT_TRUE(shared && shared->bufferId == 77u);
    LogCapture capture; // an empty buffer still takes its place in the answer
    EXPECT_EQ(StreamBufferUtils::fetchStreamInfo({bare, nullptr, with}), (Infos{info, nullptr, info}));
    EXPECT_EQ(StreamBufferUtils::cloneStreamInfo(nullptr), nullptr);
    EXPECT_EQ(lines(capture), (Lines{"fetchStreamInfo: empty stream buffer", "cloneStreamInfo: no stream info"}));

    // Format 0x22 overridden by nv21, copied: the caller's record stays as it was.
    StreamInfo local{0, 0, 0, 0, 0x22, 0, 0, 0, -1, 0, 0, 0, 0x11, 0, 0};
    EXPECT_EQ(b.setStreamInfo(local, true).setStreamId(3).build()->getInfo(), "[3]nv21");
    EXPECT_EQ(std::make_pair(local.format, local.streamId), std::make_pair(0x22u, 0));
}

TEST(StreamBuffer, AsksTheRequestorUntilItAnswersAndIsNamedAfterItsStream)
{
    auto requestor = std::make_shared<Requestor>();
    auto buffer = requested(3, std::make_shared<Collector>(), requestor);
    LevelGuard level(2);
    LogCapture capture;
    buffer->dump(); // without asking
    EXPECT_TRUE(buffer->getImageBuffer() == nullptr && buffer->getImageBuffer() == nullptr);
    requestor->answer = builder(0x11, 64, 48).build();
    EXPECT_TRUE(buffer->getImageBuffer() == requestor->answer && buffer->getImageBuffer() == requestor->answer);
    EXPECT_EQ(requestor->asked, Infos(3, buffer->getStreamInfo()));
    buffer->dump();
    EXPECT_EQ(capture.count("no image buffer to dump", 0), 1u);
    EXPECT_EQ(capture.count("\t Size : %ux%u", 2), 1u);

    EXPECT_EQ(buffer->getStatus(), "[3]nv21(err) "); // until told otherwise
    buffer->setBufferStatus(static_cast<AppBufferStatus>(2)); // anything but an error is ok
    EXPECT_EQ(buffer->getStatus(), "[3]nv21(ok) ");
    buffer->getStreamInfo()->format = 0x99;
    buffer->getStreamInfo()->streamId = -2;
    capture.clear();
    EXPECT_EQ(buffer->getInfo(), "[-2]");
    EXPECT_EQ(lines(capture), (Lines{"getFormatString: format not found. 0x99"}));
}

// Empty pointers are dropped like buffers of another stream, never handed to
// a collector nor followed.
TEST(StreamBufferSetBuilder, FiltersByStreamAndNeedsSourceThenCollector)
{
    auto collector = std::make_shared<Collector>();
    auto a = requested(7, collector), b = requested(3, collector), c = requested(7, collector);
    std::weak_ptr<Collector> dead = std::make_shared<Collector>();
    LogCapture capture;
    StreamBufferSetBuilder byStream(7);
    EXPECT_EQ(byStream.setStreamBuffer(b).setStreamBuffer(nullptr).build(), nullptr);
    EXPECT_EQ(StreamBufferSetBuilder().setStreamBuffer(a).setCollector(dead).build(), nullptr);
    EXPECT_EQ(StreamBufferSetBuilder().setStreamBuffer(nullptr).setCollector(collector).build(), nullptr);
    EXPECT_EQ(lines(capture), (Lines{"build: stream buffer set no source.", "build: no collector",
                                     "build: stream buffer set no source."}));

    auto set = byStream.setStreamBuffers({a, nullptr, b, c}).setCollector(collector).build();
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(set->getStreamBuffers(), (Buffers{a, c}));
    EXPECT_EQ(std::make_tuple(set->getSize(), set->getStreamBuffer(1), set->getStreamBuffer(2)),
              std::make_tuple(2u, c, nullptr));
    auto unfiltered = StreamBufferSetBuilder().setStreamBuffers({b, nullptr, b}).setCollector(collector).build();
    EXPECT_EQ(unfiltered->getStreamBuffers(), (Buffers{b, b}));

    LevelGuard level;
    capture.clear();
    for (g_logLv = 1; g_logLv <= 2; g_logLv++)
        set->dump();
    EXPECT_EQ(lines(capture), (Lines{"dump: contain 2 of stream buffer"}));
}

// returnStreamBuffer() hands back the newest live set a buffer is in, else
// the buffer alone; each once, and only while its collector lives, which
// neither the buffer nor the set keeps alive.
TEST(StreamBufferUtils, ReturnsTheNewestLiveSetElseTheBufferAlone)
{
    auto older = std::make_shared<Collector>(), collector = std::make_shared<Collector>();
    auto a = requested(1, collector), b = requested(2, collector);
    auto first = StreamBufferSetBuilder().setStreamBuffer(b).setCollector(older).build();
    auto set = StreamBufferSetBuilder().setStreamBuffers({a, b}).setCollector(collector).build();
    std::vector<bool> alone;
    collector->onSet = [&](const Buffers& members) {
        for (const auto& m : members)
            alone.push_back(dynamic_cast<StreamBufferImpl&>(*m).releaseBuffer());
    };
    EXPECT_TRUE(StreamBufferUtils::returnStreamBuffer(b));
    EXPECT_EQ(alone, (std::vector<bool>{false, false})); // marked before the call
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(a));
    EXPECT_FALSE(dynamic_cast<StreamBufferSetImpl&>(*set).releaseBufferSet());
    EXPECT_EQ(collector->sets, std::vector<Buffers>{(Buffers{a, b})});
    EXPECT_TRUE(collector->single.empty() && older->sets.empty());

    auto buffer = requested(3, collector), kept = requested(4, collector);
    std::weak_ptr<StreamBufferSet> dead =
            StreamBufferSetBuilder().setStreamBuffers({kept, requested(5, collector)}).setCollector(collector).build();
    EXPECT_TRUE(dead.expired());
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(nullptr));
    for (const auto& single : {buffer, kept}) {
        EXPECT_TRUE(StreamBufferUtils::returnStreamBuffer(single));
        EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(single));
        EXPECT_FALSE(dynamic_cast<StreamBufferImpl&>(*single).releaseBuffer());
    }
    EXPECT_EQ(collector->single, (Buffers{buffer, kept}));

    auto orphan = requested(6, collector);
    std::weak_ptr<Collector> watch = collector;
    collector.reset();
    EXPECT_TRUE(watch.expired());
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(orphan));
}

} // namespace
