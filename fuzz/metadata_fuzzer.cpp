/*
 * Metadata objects driven by untrusted packets and arbitrary sequences of
 * operations on four objects: init from a packet, appends (of an object
 * into itself too), tag updates, lookups, clones, both dumps and the
 * request converter, with the framework's vendor tag callbacks installed.
 * After every operation the object it changed must hold a valid packet.
 *
 * Input: a sequence of operations, each an opcode byte and its arguments
 * (see run()); a packet argument is a 16-bit length and that many bytes.
 */
#include <string>

#include <TamoLogControl.h>
#include <tamo/Metadata.h>
#include <tamo/VendorTag.h>
#include <system/camera_metadata.h>

#include "FuzzSupport.h"

using tamo::Metadata;
using tamo::fuzz::ExactCopy;
using tamo::fuzz::Reader;

namespace {

constexpr size_t kSlots = 4;
constexpr size_t kMaxPacket = 4096;
constexpr unsigned int kMaxCount = 64;

enum Op : uint8_t {
    LOAD,       // slot, packet: a new object init() from it
    APPEND_RAW, // slot, packet: appendMetadata(packet) when it is valid
    APPEND,     // slot, slot, raw?: appendMetadata(object or its buffer)
    UPDATE,     // slot, tag, count, values
    GET,        // slot, tag
    DUMP,       // slot
    DUMP_TAG,   // slot, tag
    INIT,       // slot, entries, data
    CLONE,      // slot, slot, headroom?, entries, data
    RESET,      // slot, create?
    LEVEL,      // log level
    CONVERT,    // slot, camera id
    OP_COUNT
};

// Tags of every kind: standard ones of each type, framework vendor tags,
// platform vendor tags, tags of the packet itself, and any number at all.
uint32_t pickTag(Reader& in, const camera_metadata_t* m)
{
    static const uint32_t standard[] = {
        ANDROID_COLOR_CORRECTION_MODE, ANDROID_COLOR_CORRECTION_TRANSFORM, ANDROID_COLOR_CORRECTION_GAINS,
        ANDROID_CONTROL_AE_REGIONS, ANDROID_CONTROL_AE_TARGET_FPS_RANGE, ANDROID_FLASH_FIRING_TIME,
        ANDROID_JPEG_GPS_COORDINATES, ANDROID_SCALER_CROP_REGION, ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE,
        ANDROID_SCALER_AVAILABLE_MAX_DIGITAL_ZOOM};
    switch (in.u8() % 5) {
    case 0:
        return standard[in.u8() % (sizeof(standard) / sizeof(standard[0]))];
    case 1:
        return 0x80000000u + ((1u + in.u8() % 8) << 16) + in.u8() % 0x52;
    case 2:
        return 0x81000000u + in.u16();
    case 3: {
        const size_t n = get_camera_metadata_entry_count(m);
        camera_metadata_ro_entry_t e;
        if (n != 0 && get_camera_metadata_ro_entry(m, in.u16() % n, &e) == 0)
            return e.tag;
        return 0;
    }
    default:
        return in.u32();
    }
}

// A packet argument, where a HIDL boundary would have checked it: one whose
// header claims more bytes than it has is never handed in.
bool readPacket(Reader& in, ExactCopy& out)
{
    const size_t len = in.u16() % (kMaxPacket + 1);
    out = ExactCopy(in.bytes(len));
    if (out.size < 48)
        return false;
    uint32_t claimed;
    std::memcpy(&claimed, out.get(), sizeof(claimed));
    return claimed <= out.size;
}

size_t entries(const std::shared_ptr<Metadata>& m)
{
    return m != nullptr ? get_camera_metadata_entry_count(m->getFwkMetadata()) : 0;
}

// Appends that double an object into itself would reach gigabytes within
// an input, and every operation is followed by a validation; past this
// the fuzzer stops appending.
constexpr size_t kMaxEntries = 128, kMaxData = 1 << 13;

bool tooBig(const camera_metadata_t* dst, const camera_metadata_t* src)
{
    return get_camera_metadata_entry_count(dst) + get_camera_metadata_entry_count(src) > kMaxEntries ||
           get_camera_metadata_data_count(dst) + get_camera_metadata_data_count(src) > kMaxData;
}

// Entry count after appending src into dst, as the growth rule has it: a
// buffer without data bytes that must grow loses its entries.
size_t countAfterAppend(camera_metadata_t* dst, const camera_metadata_t* src)
{
    const size_t e = get_camera_metadata_entry_count(dst), es = get_camera_metadata_entry_count(src);
    if (dst == nullptr)
        return es;
    const bool fits = get_camera_metadata_entry_capacity(dst) >= e + es &&
                      get_camera_metadata_data_capacity(dst) >= get_camera_metadata_data_count(dst) +
                                                                    get_camera_metadata_data_count(src);
    return fits || (e != 0 && get_camera_metadata_data_count(dst) != 0) ? e + es : es;
}

void checkValid(const std::shared_ptr<Metadata>& m)
{
    if (m == nullptr || m->getFwkMetadata() == nullptr)
        return;
    size_t size = m->getMetadataSize();
    FUZZ_CHECK(validate_camera_metadata_structure(m->getFwkMetadata(), &size) == 0);
}

volatile uint8_t sink;

void run(Reader& in)
{
    std::shared_ptr<Metadata> slots[kSlots];
    while (!in.empty()) {
        const uint8_t op = in.u8() % OP_COUNT;
        auto& m = slots[in.u8() % kSlots];
        camera_metadata_t* raw = m != nullptr ? m->getFwkMetadata() : nullptr;
        switch (op) {
        case LOAD: {
            ExactCopy packet(0);
            if (!readPacket(in, packet))
                break;
            auto* src = reinterpret_cast<camera_metadata_t*>(packet.get());
            m = Metadata::create();
            const bool valid = validate_camera_metadata_structure(src, &packet.size) == 0;
            FUZZ_CHECK(m->init(src) == valid);
            FUZZ_CHECK(entries(m) == (valid ? get_camera_metadata_entry_count(src) : 0));
            break;
        }
        case APPEND_RAW: {
            ExactCopy packet(0);
            if (!readPacket(in, packet) || m == nullptr)
                break;
            auto* src = reinterpret_cast<camera_metadata_t*>(packet.get());
            if (validate_camera_metadata_structure(src, &packet.size) != 0 || tooBig(raw, src))
                break;
            const size_t expected = countAfterAppend(raw, src);
            if (m->appendMetadata(src))
                FUZZ_CHECK(entries(m) == expected);
            break;
        }
        case APPEND: {
            auto& other = slots[in.u8() % kSlots];
            const bool asRaw = in.u8() & 1;
            if (m == nullptr)
                break;
            const camera_metadata_t* src = other != nullptr ? other->getFwkMetadata() : nullptr;
            if (tooBig(raw, src))
                break;
            const size_t expected = countAfterAppend(raw, src);
            const bool ok = asRaw ? m->appendMetadata(src) : m->appendMetadata(other);
            if (ok)
                FUZZ_CHECK(entries(m) == expected);
            break;
        }
        case UPDATE: {
            const uint32_t tag = pickTag(in, raw);
            const unsigned int count = in.u8() % (kMaxCount + 1);
            std::vector<uint8_t> values = in.bytes(count * 8);
            values.resize(count * 8 + 1);
            if (m == nullptr || !m->updateMetaDataByTag(tag, values.data(), count))
                break;
            // Some entry of that tag now holds exactly these values.
            raw = m->getFwkMetadata();
            bool found = false;
            for (size_t i = 0; i < get_camera_metadata_entry_count(raw) && !found; i++) {
                camera_metadata_ro_entry_t e;
                FUZZ_CHECK(get_camera_metadata_ro_entry(raw, i, &e) == 0);
                found = e.tag == tag && e.count == count &&
                        std::memcmp(e.data.u8, values.data(), count * camera_metadata_type_size[e.type]) == 0;
            }
            FUZZ_CHECK(found);
            break;
        }
        case GET: {
            if (m == nullptr)
                break;
            const uint32_t tag = pickTag(in, raw);
            const tamo::MetadataEntryData got = m->getMetadataByTag(tag);
            camera_metadata_ro_entry_t e;
            if (find_camera_metadata_ro_entry(raw, tag, &e) != 0) {
                FUZZ_CHECK(got.count == 0xFFFFFFFF && got.data == nullptr);
                break;
            }
            FUZZ_CHECK(got.count == e.count && got.data == e.data.u8);
            uint8_t sum = 0;
            for (size_t i = 0; i < e.count * camera_metadata_type_size[e.type]; i++)
                sum ^= static_cast<const uint8_t*>(got.data)[i];
            sink = sum;
            break;
        }
        case DUMP:
            if (m != nullptr)
                m->dump();
            break;
        case DUMP_TAG: {
            const uint32_t tag = pickTag(in, raw);
            std::string out;
            if (m != nullptr)
                m->dumpByTag(tag, out);
            FUZZ_CHECK(m == nullptr || !out.empty());
            break;
        }
        case INIT: {
            const unsigned int entryCapacity = in.u8() % kMaxCount, dataCapacity = in.u16() % kMaxPacket;
            if (m != nullptr)
                FUZZ_CHECK(m->init(entryCapacity, dataCapacity));
            break;
        }
        case CLONE: {
            auto& source = slots[in.u8() % kSlots];
            const bool headroom = in.u8() & 1;
            const unsigned int entryCapacity = in.u8() % kMaxCount, dataCapacity = in.u16() % kMaxPacket;
            const size_t expected = entries(source);
            m = headroom ? Metadata::clone(source, entryCapacity, dataCapacity) : Metadata::clone(source);
            FUZZ_CHECK(m != nullptr && entries(m) == expected);
            break;
        }
        case RESET:
            m = in.u8() & 1 ? Metadata::create() : nullptr;
            break;
        case LEVEL:
            tamo::g_logLv = in.u8() % 4;
            break;
        case CONVERT: {
            const unsigned int camera = in.u8() % 12;
            tamo::VendorTagUtils::converter(m, camera);
            break;
        }
        }
        checkValid(m); // the only object an operation changes
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    tamo::fuzz::quietStderr(argc, argv);
    // Installs the callbacks: framework tags get names and types.
    std::vector<tamo::AppVendorTagSection> sections;
    tamo::VendorTagUtils::getAllVendorTags(sections);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    tamo::g_logLv = 0;
    Reader in(data, size);
    run(in);
    return 0;
}
