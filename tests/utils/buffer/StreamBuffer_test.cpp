#include <tamo/StreamBuffer.h>

#include <functional>

#include "BufferTestSupport.h"
#include "buffer/StreamBufferPrivate.h"

using namespace tamo;
using namespace buffertest;
using Buffers = std::vector<std::shared_ptr<StreamBuffer>>;
using Infos = std::vector<std::shared_ptr<StreamInfo>>;

namespace {

// The framework's side: answers requests for buffers and keeps what it is
// handed back.
struct Client : IBufferRequestor, IBufferCollector {
    std::shared_ptr<ImageBuffer> requestBuffer(std::shared_ptr<StreamInfo> info) override
    { asked.push_back(info); return answer; }
    void collectBuffer(std::shared_ptr<StreamBuffer> buffer) override { single.push_back(buffer); }
    void collectBufferSet(Buffers buffers) override
    {
        sets.push_back(buffers);
        if (onSet)
            onSet(buffers);
    }
    std::shared_ptr<ImageBuffer> answer;
    Infos asked; // one per call
    Buffers single;
    std::vector<Buffers> sets;
    std::function<void(const Buffers&)> onSet;
};

std::shared_ptr<StreamInfo> stream(int id) // nv21
{
    return std::make_shared<StreamInfo>(StreamInfo{id, 0, 0, 0, 0x11});
}

std::shared_ptr<StreamBuffer> requested(int id, const std::shared_ptr<Client>& collector,
                                        std::shared_ptr<Client> requestor = std::make_shared<Client>())
{
    return StreamBufferBuilder().setStreamInfo(stream(id)).setCollector(collector)
            .setImageBufferRequestor(requestor).build();
}

// Each refusal also lacks what the later checks look at. A buffer given up
// front needs no way back, but then has none; a requested one asks until it
// is answered, but not to dump.
TEST(StreamBufferBuilder, ChecksItsSourcesInOrderSharesOrCopiesTheRecordAndAsksOnUse)
{
    auto image = builder(0x11, 64, 48).build();
    auto requestor = std::make_shared<Client>();
    std::weak_ptr<Client> dead = std::make_shared<Client>();
    Logged capture;
    ImageBufferBuilder broken = builder(0x11, 0, 48);
    EXPECT_EQ(StreamBufferBuilder().setImageBufferBuilder(broken).build(), nullptr);
    EXPECT_EQ(StreamBufferBuilder().setImageBuffer(image).setImageBufferRequestor(requestor).build(), nullptr);
    EXPECT_EQ(StreamBufferBuilder().setImageBufferRequestor(requestor).setCollector(dead).build(), nullptr);
    EXPECT_EQ(StreamBufferBuilder().setImageBufferRequestor(requestor)
                      .setCollector(std::make_shared<Client>()).build(), nullptr);
    auto info = stream(9);
    StreamBufferBuilder b;
    auto bare = b.setImageBuffer(image).setCollector(dead).setStreamInfo(info).setStreamId(0).build();
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(bare));
    EXPECT_EQ(StreamBufferUtils::fetchStreamInfo({bare, nullptr, bare}), (Infos{info, nullptr, info}));
    EXPECT_EQ(StreamBufferUtils::cloneStreamInfo(nullptr), nullptr);
    EXPECT_EQ(lines(capture), (Lines{"0 build: Invalid image size 0x48", "0 build: empty source",
                                     "0 build: invalid source", "0 build: requested buffer cannot return",
                                     "0 build: no stream info", "0 fetchStreamInfo: empty stream buffer",
                                     "0 cloneStreamInfo: no stream info"}));

    // The record is shared, and ids from 1 up are written into it.
    b.setStreamId(-4).build();
    auto clone = StreamBufferUtils::cloneStreamInfo(info);
    auto with = StreamBufferBuilder(b).setStreamId(5).build();
    EXPECT_TRUE(with->getStreamInfo() == info && info->streamId == 5 && clone->streamId == 9);
    // Format 0x22 overridden by nv21, in a copy of the caller's record.
    StreamInfo local{0, 0, 0, 0, 0x22, 0, 0, 0, -1, 0, 0, 0, 0x11, 0, 0};
    EXPECT_EQ(b.setStreamInfo(local, true).setStreamId(3).build()->getInfo(), "[3]nv21");

    auto asking = requested(3, requestor, requestor);
    capture.clear();
    g_logLv = 2;
    asking->dump(); // without asking
    EXPECT_TRUE(asking->getImageBuffer() == nullptr && asking->getImageBuffer() == nullptr);
    requestor->answer = image;
    EXPECT_TRUE(asking->getImageBuffer() == image && asking->getImageBuffer() == image);
    EXPECT_EQ(requestor->asked, Infos(3, asking->getStreamInfo()));
    asking->dump();
    EXPECT_EQ(capture.count("no image buffer to dump", 0), 1u);
    EXPECT_EQ(capture.count("\t Size : %ux%u", 2), 1u);
    EXPECT_EQ(asking->getStatus(), "[3]nv21(err) "); // until told otherwise
    asking->setBufferStatus(static_cast<platform::AppBufferStatus>(2)); // anything but an error is ok
    EXPECT_EQ(asking->getStatus(), "[3]nv21(ok) ");
}

// A set takes the buffers of its stream, or all without a filter, never an
// empty pointer, and needs a collector. returnStreamBuffer() hands back the
// newest live set a buffer is in, else the buffer alone; each once, and only
// while its collector lives, which neither the buffer nor the set keeps
// alive. A set marks its members before its collector runs, so a member
// handed back from there is not collected again.
TEST(StreamBufferSet, FiltersThenReturnsTheNewestLiveSetElseTheBufferAloneOnce)
{
    auto older = std::make_shared<Client>(), collector = std::make_shared<Client>();
    auto a = requested(1, collector), b = requested(2, collector);
    std::weak_ptr<Client> gone = std::make_shared<Client>();
    Logged capture;
    EXPECT_EQ(StreamBufferSetBuilder(1).setStreamBuffer(b).setStreamBuffer(nullptr).build(), nullptr);
    EXPECT_EQ(StreamBufferSetBuilder().setStreamBuffer(a).setCollector(gone).build(), nullptr);
    EXPECT_EQ(StreamBufferSetBuilder().setStreamBuffer(nullptr).setCollector(collector).build(), nullptr);
    auto first = StreamBufferSetBuilder(2).setStreamBuffers({a, nullptr, b, b}).setCollector(older).build();
    auto set = StreamBufferSetBuilder().setStreamBuffers({a, b}).setCollector(collector).build();
    EXPECT_EQ(first->getStreamBuffers(), (Buffers{b, b}));
    EXPECT_EQ(std::make_tuple(set->getSize(), set->getStreamBuffer(1), set->getStreamBuffer(2)),
              std::make_tuple(2u, b, nullptr));
    for (g_logLv = 1; g_logLv <= 2; g_logLv++)
        set->dump();
    EXPECT_EQ(lines(capture), (Lines{"0 build: stream buffer set no source.", "0 build: no collector",
                                     "0 build: stream buffer set no source.", "2 dump: contain 2 of stream buffer"}));

    std::vector<bool> alone;
    collector->onSet = [&](const Buffers& members) {
        for (const auto& m : members)
            alone.push_back(dynamic_cast<StreamBufferImpl&>(*m).releaseBuffer());
    };
    EXPECT_TRUE(StreamBufferUtils::returnStreamBuffer(b));
    EXPECT_EQ(alone, (std::vector<bool>{false, false}));
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(a) ||
                 dynamic_cast<StreamBufferSetImpl&>(*set).releaseBufferSet());
    EXPECT_EQ(collector->sets, std::vector<Buffers>{(Buffers{a, b})});
    EXPECT_TRUE(collector->single.empty() && older->sets.empty());

    auto buffer = requested(3, collector), kept = requested(4, collector);
    std::weak_ptr<StreamBufferSet> dead =
            StreamBufferSetBuilder().setStreamBuffers({kept, requested(5, collector)}).setCollector(collector).build();
    EXPECT_TRUE(dead.expired());
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(nullptr));
    for (const auto& single : {buffer, kept})
        EXPECT_TRUE(StreamBufferUtils::returnStreamBuffer(single) && !StreamBufferUtils::returnStreamBuffer(single));
    EXPECT_EQ(collector->single, (Buffers{buffer, kept}));

    // A collector that keeps what it got makes no cycle: all of it goes.
    auto orphan = requested(6, collector);
    std::weak_ptr<Client> watch = collector;
    std::weak_ptr<StreamBuffer> watchBuffer = a;
    collector.reset();
    a.reset(), b.reset(), set.reset(), first.reset(), buffer.reset(), kept.reset();
    EXPECT_TRUE(watch.expired() && watchBuffer.expired());
    EXPECT_FALSE(StreamBufferUtils::returnStreamBuffer(orphan));
}

} // namespace
