// Stream buffers and sets under arbitrary sequences of building, asking
// for image buffers, returning, setting status and dropping collectors,
// sets and buffers in any order. A model of the hand-back rules predicts
// every result and every collector call:
//
//  - a buffer goes back alone at most once, and never after it went back
//    with a set;
//  - a live set goes back once, whole, to its own collector; a member that
//    went back before goes back again with it (by design);
//  - nothing outlives the input (every object is dropped and must be gone).
//
// Input: a sequence of operations, each an opcode byte, a target slot and
// its arguments.
#include <map>

#include <TamoLogControl.h>
#include <tamo/StreamBuffer.h>

#include "FuzzSupport.h"

using namespace tamo;
using tamo::fuzz::Reader;
using tamo::platform::AppBufferStatus;
using Buffers = std::vector<std::shared_ptr<StreamBuffer>>;
using Event = std::pair<bool, std::vector<StreamBuffer*>>; // a set?, what came back

namespace {

constexpr size_t kCollectors = 3, kInfos = 3, kBuffers = 12, kSets = 6;

// An image buffer without memory; counts its instances.
struct FakeImage : ImageBufferImpl {
    static inline int live = 0;
    FakeImage() : ImageBufferImpl(std::make_shared<ImageInfo>()) { live++; }
    ~FakeImage() override { live--; }
    native_handle const** getBufferHandle() override { return nullptr; }
    native_handle const* getAcquireFence() override { return nullptr; }
    native_handle const* getReleaseFence() override { return nullptr; }
    bool saveToFile(std::string const&) override { return false; }
    bool loadFromFile(std::string const&) override { return false; }
    void dump() override {}
    bool lock(std::string) override { return false; }
    int32_t unlock(std::string) override { return -1; }
    void* getVa(unsigned int) override { return nullptr; }
    uint32_t getStride(unsigned int) const override { return 0; }
    uint32_t getScanlines(unsigned int) const override { return 0; }
};

struct Requestor : IBufferRequestor {
    bool answer = true;
    int calls = 0;
    std::shared_ptr<ImageBuffer> requestBuffer(std::shared_ptr<StreamInfo> info) override
    {
        FUZZ_CHECK(info != nullptr);
        calls++;
        return answer ? std::make_shared<FakeImage>() : nullptr;
    }
};

struct Collector : IBufferCollector {
    std::vector<Event> events;
    Buffers held; // what it keeps when it keeps what it gets
    bool keep = false;
    void collectBuffer(std::shared_ptr<StreamBuffer> buffer) override { collect(false, {buffer}); }
    void collectBufferSet(Buffers buffers) override { collect(true, buffers); }
    void collect(bool set, const Buffers& buffers)
    {
        events.push_back({set, {}});
        for (const auto& b : buffers)
            events.back().second.push_back(b.get());
        if (keep)
            held.insert(held.end(), buffers.begin(), buffers.end());
    }
};

// What each object should be. Collectors and sets are known by the order
// in which they were made.
struct ModelBuffer {
    int collector = -1, info = 0, set = -1; // set: the newest over it
    bool hasImage = false, released = false;
};
struct ModelSet {
    int collector;
    bool released;
    std::vector<StreamBuffer*> members;
};

enum Op : uint8_t {
    NEW_COLLECTOR, // keeps?
    DROP_COLLECTOR,
    DROP_HELD, // the collector lets go of what it kept
    BUILD,     // sources and collector, info, stream id
    BUILD_SET, // filter, collector, members
    GET_IMAGE,
    ANSWER, // whether the requestor has buffers to give
    RETURN,
    STATUS, // status
    DROP_BUFFER,
    DROP_SET,
    READ, // descriptions, dumps and the utilities
    LEVEL,
    OP_COUNT
};

struct Harness {
    std::vector<std::shared_ptr<Collector>> collectors; // by id; empty once dropped
    std::vector<std::weak_ptr<Collector>> collectorRefs;
    std::vector<std::vector<Event>> expected; // by collector id
    int collectorSlots[kCollectors] = {-1, -1, -1};
    std::shared_ptr<StreamInfo> infos[kInfos];
    int32_t infoIds[kInfos] = {};
    std::shared_ptr<Requestor> requestor = std::make_shared<Requestor>();
    std::shared_ptr<StreamBuffer> buffers[kBuffers];
    std::map<StreamBuffer*, ModelBuffer> model;
    std::shared_ptr<StreamBufferSet> sets[kSets];
    int setIds[kSets] = {-1, -1, -1, -1, -1, -1};
    std::vector<ModelSet> modelSets;
    std::vector<std::weak_ptr<StreamBuffer>> madeBuffers; // to prove at the end that all is gone
    std::vector<std::weak_ptr<StreamBufferSet>> madeSets;

    bool collectorAlive(int id) const { return id >= 0 && collectors[id] != nullptr; }
    bool setAlive(int id) const
    {
        for (size_t i = 0; id >= 0 && i < kSets; i++)
            if (setIds[i] == id && sets[i] != nullptr)
                return true;
        return false;
    }

    // What returning b does: its newest live set goes back, else b alone.
    bool predictReturn(StreamBuffer* b)
    {
        ModelBuffer& mb = model.at(b);
        if (setAlive(mb.set)) {
            ModelSet& ms = modelSets[mb.set];
            if (ms.released || !collectorAlive(ms.collector))
                return false;
            for (StreamBuffer* member : ms.members)
                model.at(member).released = true;
            expected[ms.collector].push_back({true, ms.members});
            return ms.released = true;
        }
        if (mb.released || !collectorAlive(mb.collector))
            return false;
        expected[mb.collector].push_back({false, {b}});
        return mb.released = true;
    }

    void build(Reader& in, size_t slot)
    {
        const uint8_t how = in.u8();
        const bool image = how & 1, requested = how & 2, withInfo = !(how & 4), withRecord = how & 0x20;
        const int collector = (how >> 3 & 3) < kCollectors ? collectorSlots[how >> 3 & 3] : -1;
        const int info = in.u8() % kInfos, streamId = static_cast<int8_t>(in.u8());
        StreamBufferBuilder builder;
        if (image)
            builder.setImageBuffer(std::make_shared<FakeImage>());
        if (requested)
            builder.setImageBufferRequestor(requestor);
        if (withInfo)
            builder.setStreamInfo(infos[info]);
        if (collector >= 0) // a dropped one too: the buffer must see it gone
            builder.setCollector(collectorRefs[collector]);
        if (withRecord) {
            platform::AppStreamBuffer record;
            record.bufferId = slot;
            builder.setStreamBufferInfo(record);
        }
        auto buffer = builder.setStreamId(streamId).setRequestNumber(static_cast<unsigned int>(slot)).build();
        const bool valid = image != requested && (!requested || collectorAlive(collector)) && withInfo;
        FUZZ_CHECK((buffer != nullptr) == valid);
        if (!valid)
            return;
        if (streamId >= 1)
            infoIds[info] = streamId;
        FUZZ_CHECK(buffer->getStreamInfo() == infos[info] && infos[info]->streamId == infoIds[info]);
        FUZZ_CHECK(buffer->getRequestNumber() == slot && buffer->getBufferStatus() == AppBufferStatus::ERROR);
        auto record = StreamBufferUtils::getHidlStreamInfo(buffer);
        FUZZ_CHECK(withRecord ? record != nullptr && record->bufferId == slot : record == nullptr);
        model[buffer.get()] = {collectorAlive(collector) ? collector : -1, info, -1, image, false};
        madeBuffers.push_back(buffer);
        buffers[slot] = std::move(buffer);
    }

    void buildSet(Reader& in, size_t slot)
    {
        const int filter = in.u8() % 4 == 0 ? -1 : static_cast<int8_t>(in.u8());
        const uint8_t collectorPick = in.u8() % (kCollectors + 1);
        const int collector = collectorPick < kCollectors ? collectorSlots[collectorPick] : -1;
        const uint16_t pick = in.u16();
        StreamBufferSetBuilder builder = filter == -1 ? StreamBufferSetBuilder() : StreamBufferSetBuilder(filter);
        std::vector<StreamBuffer*> members;
        for (size_t i = 0; i < kBuffers; i++) {
            // A buffer is offered twice when the top bit asks: a member twice.
            for (int times = pick >> 15 ? 2 : 1; (pick >> i & 1) && buffers[i] != nullptr && times > 0; times--) {
                builder.setStreamBuffer(buffers[i]);
                if (filter == -1 || infoIds[model.at(buffers[i].get()).info] == filter)
                    members.push_back(buffers[i].get());
            }
        }
        if (collector >= 0)
            builder.setCollector(collectorRefs[collector]);
        auto set = builder.build();
        const bool valid = !members.empty() && collectorAlive(collector);
        FUZZ_CHECK((set != nullptr) == valid);
        if (!valid)
            return;
        FUZZ_CHECK(set->getSize() == members.size() && set->getStreamBuffer(set->getSize()) == nullptr);
        for (unsigned int i = 0; i < members.size(); i++)
            FUZZ_CHECK(set->getStreamBuffer(i).get() == members[i]);
        setIds[slot] = static_cast<int>(modelSets.size());
        modelSets.push_back({collector, false, members});
        for (StreamBuffer* member : members)
            model.at(member).set = setIds[slot];
        madeSets.push_back(set);
        sets[slot] = std::move(set);
    }

    void run(Reader& in)
    {
        for (size_t i = 0; i < kInfos; i++) {
            infos[i] = std::make_shared<StreamInfo>();
            infos[i]->streamId = infoIds[i] = static_cast<int32_t>(i);
            infos[i]->format = i == 0 ? 0x11 : i == 1 ? 0x21 : 0x99;
        }
        while (!in.empty()) {
            const uint8_t op = in.u8() % OP_COUNT, target = in.u8();
            auto& buffer = buffers[target % kBuffers];
            const int collectorId = collectorSlots[target % kCollectors];
            switch (op) {
            case NEW_COLLECTOR:
                collectorSlots[target % kCollectors] = static_cast<int>(collectors.size());
                collectors.push_back(std::make_shared<Collector>());
                collectors.back()->keep = in.u8() & 1;
                collectorRefs.push_back(collectors.back());
                expected.emplace_back();
                break;
            case DROP_COLLECTOR:
                if (collectorId >= 0)
                    collectors[collectorId] = nullptr;
                break;
            case DROP_HELD:
                if (collectorAlive(collectorId))
                    collectors[collectorId]->held.clear();
                break;
            case BUILD:
                build(in, target % kBuffers);
                break;
            case BUILD_SET:
                buildSet(in, target % kSets);
                break;
            case GET_IMAGE:
                if (buffer != nullptr) {
                    ModelBuffer& mb = model.at(buffer.get());
                    const int calls = requestor->calls;
                    const bool answers = mb.hasImage || requestor->answer;
                    auto image = buffer->getImageBuffer();
                    FUZZ_CHECK((image != nullptr) == answers && requestor->calls == calls + (mb.hasImage ? 0 : 1));
                    FUZZ_CHECK(image == nullptr || buffer->getImageBuffer() == image);
                    mb.hasImage = answers;
                }
                break;
            case ANSWER:
                requestor->answer = target & 1;
                break;
            case RETURN:
                if (target >= 0xF0)
                    FUZZ_CHECK(!StreamBufferUtils::returnStreamBuffer(nullptr));
                else if (buffer != nullptr)
                    FUZZ_CHECK(StreamBufferUtils::returnStreamBuffer(buffer) == predictReturn(buffer.get()));
                break;
            case STATUS: {
                const auto status = static_cast<AppBufferStatus>(in.u8() % 3);
                if (buffer == nullptr)
                    break;
                buffer->setBufferStatus(status);
                const std::string text = buffer->getStatus(), info = buffer->getInfo();
                FUZZ_CHECK(buffer->getBufferStatus() == status && text.rfind(info, 0) == 0 &&
                           text.substr(info.size()) == (status == AppBufferStatus::ERROR ? "(err) " : "(ok) "));
                FUZZ_CHECK(info.rfind("[" + std::to_string(infoIds[model.at(buffer.get()).info]) + "]", 0) == 0);
                break;
            }
            case DROP_BUFFER:
                buffer = nullptr;
                break;
            case DROP_SET:
                sets[target % kSets] = nullptr;
                break;
            case READ:
                if (auto& set = sets[target % kSets]; set != nullptr) {
                    set->dump();
                    FUZZ_CHECK(StreamBufferUtils::fetchStreamInfo(set->getStreamBuffers()).size() == set->getSize());
                }
                if (buffer != nullptr) {
                    auto clone = StreamBufferUtils::cloneStreamInfo(buffer->getStreamInfo());
                    FUZZ_CHECK(clone != buffer->getStreamInfo() && clone->streamId == buffer->getStreamInfo()->streamId);
                    buffer->dump();
                }
                break;
            case LEVEL:
                g_logLv = target % 4;
                break;
            }
            for (size_t id = 0; id < collectors.size(); id++)
                FUZZ_CHECK(collectors[id] == nullptr || collectors[id]->events == expected[id]);
        }
    }

    ~Harness()
    {
        for (auto& set : sets)
            set = nullptr;
        for (auto& buffer : buffers)
            buffer = nullptr;
        for (auto& collector : collectors)
            collector = nullptr;
        // No cycle between a set, its members, their collector and requestor.
        for (const auto& weak : madeSets)
            FUZZ_CHECK(weak.expired());
        for (const auto& weak : madeBuffers)
            FUZZ_CHECK(weak.expired());
        FUZZ_CHECK(requestor.use_count() == 1);
        requestor = nullptr;
        FUZZ_CHECK(FakeImage::live == 0);
    }
};

void run(Reader& in)
{
    g_logLv = 0;
    Harness().run(in);
}

} // namespace

FUZZ_TARGET([] {}, run)
