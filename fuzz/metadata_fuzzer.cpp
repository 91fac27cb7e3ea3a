// Metadata objects driven by untrusted packets and arbitrary sequences of
// operations on four objects: init from a packet or from itself, appends
// (of an object into itself too), tag updates, lookups, clones, both dumps
// and the request converter, with the framework's vendor tag callbacks
// installed. After every operation the object it changed must hold a valid
// packet. Tag numbers of any kind are also resolved through the callbacks:
// framework numbers answer from the table by position, platform numbers
// from the platform's tag descriptor, the rest nothing, and the camera
// metadata library answers the same.
//
// Input: a sequence of operations, each an opcode byte and its arguments
// (see run()); a packet argument is a 16-bit length and that many bytes.
#include <string>

#include <TamoLogControl.h>
#include <tamo/Metadata.h>
#include <tamo/VendorTag.h>
#include <tamo_platform/IPlatformTagDescriptor.h>

#include "PacketSupport.h"

using namespace tamo;
using namespace tamo::fuzz;

namespace {

constexpr size_t kSlots = 4;
constexpr unsigned int kMaxCount = 64, kMaxCapacity = 4096;

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
    LEVEL,      // slot (unused), log level
    CONVERT,    // slot, camera id
    NAMES,      // slot, tag
    RELOAD,     // slot: init() from its own buffer
    OP_COUNT
};

std::vector<AppVendorTagSection> sections; // the platform's, then the framework's seven

bool same(const char* a, const char* b)
{
    return a == nullptr ? b == nullptr : b != nullptr && std::strcmp(a, b) == 0;
}

void checkNames(uint32_t tag)
{
    using D = VendorTagDescriptorUtils;
    const char* section = D::tamo_get_section_name(nullptr, tag);
    const char* name = D::tamo_get_tag_name(nullptr, tag);
    const int type = D::tamo_get_tag_type(nullptr, tag);
    if (tag >> 24 >= 0x81) {
        auto platform = platform::IPlatformTagDescriptor::getInstance();
        FUZZ_CHECK(platform != nullptr && same(section, platform->getSectionName(tag)) &&
                   same(name, platform->getTagName(tag)) && type == platform->getTagType(tag));
    } else {
        const uint32_t position = (tag + 0x7FFF0000u) >> 16, index = tag & 0xFFFF;
        const AppVendorTagSection* s = position < 7 ? &sections[sections.size() - 7 + position] : nullptr;
        const AppVendorTag* t = s != nullptr && index < s->tags.size() ? &s->tags[index] : nullptr;
        FUZZ_CHECK(same(section, s != nullptr ? s->sectionName.c_str() : nullptr) &&
                   same(name, t != nullptr ? t->tagName.c_str() : nullptr) &&
                   type == (t != nullptr ? int(t->tagType) : 255));
        FUZZ_CHECK(t == nullptr || (t->tagId == tag && type >= TYPE_BYTE && type <= TYPE_INT64));
    }
    FUZZ_CHECK(name == nullptr || (section != nullptr && std::strlen(name) != 0));
    if (tag >> 16 >= VENDOR_SECTION) // the library asks the callbacks
        FUZZ_CHECK(same(get_camera_metadata_section_name(tag), section) &&
                   same(get_camera_metadata_tag_name(tag), name) && get_camera_metadata_tag_type(tag) == type);
    uint32_t untouched = 0xA5A5A5A5;
    D::tamo_get_all_tags(nullptr, &untouched);
    FUZZ_CHECK(untouched == 0xA5A5A5A5 && D::tamo_get_tag_count(nullptr) == 0);
}

size_t entries(const std::shared_ptr<Metadata>& m)
{
    return m != nullptr ? get_camera_metadata_entry_count(m->getFwkMetadata()) : 0;
}

// Appends that double an object into itself would reach gigabytes within
// an input; past this the fuzzer stops appending.
bool tooBig(const camera_metadata_t* dst, const camera_metadata_t* src)
{
    return get_camera_metadata_entry_count(dst) + get_camera_metadata_entry_count(src) > 128 ||
           get_camera_metadata_data_count(dst) + get_camera_metadata_data_count(src) > 8192;
}

// Entry count after appending src into dst, as the growth rule has it: a
// buffer without data bytes that must grow loses its entries.
size_t countAfterAppend(camera_metadata_t* dst, const camera_metadata_t* src)
{
    const size_t e = get_camera_metadata_entry_count(dst), es = get_camera_metadata_entry_count(src);
    const bool fits = get_camera_metadata_entry_capacity(dst) >= e + es &&
                      get_camera_metadata_data_capacity(dst) >= get_camera_metadata_data_count(dst) +
                                                                    get_camera_metadata_data_count(src);
    return dst != nullptr && (fits || (e != 0 && get_camera_metadata_data_count(dst) != 0)) ? e + es : es;
}

void run(Reader& in)
{
    g_logLv = 0;
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
            FUZZ_CHECK(m->init(src) == valid && entries(m) == (valid ? get_camera_metadata_entry_count(src) : 0));
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
            FUZZ_CHECK(!m->appendMetadata(src) || entries(m) == expected);
            break;
        }
        case APPEND: {
            auto& other = slots[in.u8() % kSlots];
            const bool asRaw = in.u8() & 1;
            const camera_metadata_t* src = other != nullptr ? other->getFwkMetadata() : nullptr;
            if (m == nullptr || tooBig(raw, src))
                break;
            const size_t expected = countAfterAppend(raw, src);
            FUZZ_CHECK(!(asRaw ? m->appendMetadata(src) : m->appendMetadata(other)) || entries(m) == expected);
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
            camera_metadata_ro_entry_t e;
            bool found = false;
            for (size_t i = 0; !found && get_camera_metadata_ro_entry(raw, i, &e) == 0; i++)
                found = e.tag == tag && e.count == count && std::memcmp(e.data.u8, values.data(), payloadBytes(e)) == 0;
            FUZZ_CHECK(found);
            break;
        }
        case GET: {
            if (m == nullptr)
                break;
            const uint32_t tag = pickTag(in, raw);
            const MetadataEntryData got = m->getMetadataByTag(tag);
            camera_metadata_ro_entry_t e;
            if (find_camera_metadata_ro_entry(raw, tag, &e) != 0)
                FUZZ_CHECK(got.count == 0xFFFFFFFF && got.data == nullptr);
            else
                FUZZ_CHECK(got.count == e.count && got.data == e.data.u8);
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
            const unsigned int entryCapacity = in.u8() % kMaxCount, dataCapacity = in.u16() % kMaxCapacity;
            FUZZ_CHECK(m == nullptr || m->init(entryCapacity, dataCapacity));
            break;
        }
        case CLONE: {
            auto& source = slots[in.u8() % kSlots];
            const bool headroom = in.u8() & 1;
            const unsigned int entryCapacity = in.u8() % kMaxCount, dataCapacity = in.u16() % kMaxCapacity;
            const size_t expected = entries(source);
            m = headroom ? Metadata::clone(source, entryCapacity, dataCapacity) : Metadata::clone(source);
            FUZZ_CHECK(m != nullptr && entries(m) == expected);
            break;
        }
        case RESET:
            m = in.u8() & 1 ? Metadata::create() : nullptr;
            break;
        case LEVEL:
            g_logLv = in.u8() % 4;
            break;
        case CONVERT:
            VendorTagUtils::converter(m, in.u8() % 12);
            break;
        case NAMES: {
            const uint32_t tag = pickTag(in, raw);
            checkNames(tag >> 30 == 1 ? 0x80000000u | (tag & 0x000F00FFu) : tag);
            break;
        }
        case RELOAD: {
            const size_t expected = entries(m);
            FUZZ_CHECK(m == nullptr || (m->init(raw) == (raw != nullptr) && entries(m) == expected));
            break;
        }
        }
        if (m != nullptr) // the only object an operation changes
            checkValid(m->getFwkMetadata());
    }
}

void setup()
{
    VendorTagUtils::getAllVendorTags(sections); // installs the callbacks
    FUZZ_CHECK(sections.size() >= 7);
}

} // namespace

FUZZ_TARGET(setup, run)
