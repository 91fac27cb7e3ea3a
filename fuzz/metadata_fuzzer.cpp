// Metadata objects driven by untrusted packets and arbitrary sequences of
// operations on four objects: init from a packet or from itself, appends
// (of an object into itself too), tag updates, lookups, clones, both dumps
// and the request converter, with the framework's vendor tag callbacks
// installed. After every operation the object it changed must hold a valid
// packet. Tag numbers of any kind are also resolved through the callbacks,
// and the camera metadata library answers the same.
//
// Input: a sequence of operations, each an opcode byte, a slot byte and the
// operation's arguments (see run()); a packet argument is a 16-bit length
// and that many bytes.
#include <string>

#include <TamoLogControl.h>
#include <tamo/Metadata.h>
#include <tamo/VendorTag.h>

#include "FuzzSupport.h"

using namespace tamo;
using namespace tamo::fuzz;

namespace {

constexpr size_t kSlots = 4;
constexpr unsigned int kMaxCount = 64, kMaxCapacity = 4096;

enum Op : uint8_t {
    LOAD, APPEND_RAW, APPEND, UPDATE, GET, DUMP, DUMP_TAG, INIT, CLONE, RESET, LEVEL, CONVERT, NAMES, RELOAD, OP_COUNT
};

bool same(const char* a, const char* b)
{
    return a == nullptr ? b == nullptr : b != nullptr && std::strcmp(a, b) == 0;
}

size_t entries(const std::shared_ptr<Metadata>& m)
{
    return m != nullptr ? MetadataUtils::getCameraMetadataEntryCount(m->getFwkMetadata()) : 0;
}

// Appends that double an object into itself would reach gigabytes within
// an input; past this the fuzzer stops appending. How much an append grows
// an object is the unit test's business; here it must only stay valid.
// Either may be an object without a buffer: the library's counts take NULL,
// the platform's do not.
bool tooBig(const camera_metadata_t* dst, const camera_metadata_t* src)
{
    using U = MetadataUtils;
    return U::getCameraMetadataEntryCount(dst) + U::getCameraMetadataEntryCount(src) > 128 ||
           U::getCameraMetadataDataCount(dst) + U::getCameraMetadataDataCount(src) > 8192;
}

void run(Reader& in)
{
    g_logLv = 0;
    std::shared_ptr<Metadata> slots[kSlots];
    while (!in.empty()) {
        const uint8_t op = in.u8() % OP_COUNT;
        auto& m = slots[in.u8() % kSlots];
        camera_metadata_t* raw = m != nullptr ? m->getFwkMetadata() : nullptr;
        std::vector<uint8_t> bytes;
        bool valid = false;
        switch (op) {
        case LOAD: {
            const camera_metadata_t* src = in.packet(bytes, valid);
            if (src == nullptr)
                break;
            m = Metadata::create();
            FUZZ_CHECK(m->init(src) == valid && entries(m) == (valid ? get_camera_metadata_entry_count(src) : 0));
            break;
        }
        case APPEND_RAW: {
            const camera_metadata_t* src = in.packet(bytes, valid);
            if (valid && m != nullptr && !tooBig(raw, src))
                m->appendMetadata(src);
            break;
        }
        case APPEND: {
            auto& other = slots[in.u8() % kSlots];
            const bool asRaw = in.u8() & 1;
            const camera_metadata_t* src = other != nullptr ? other->getFwkMetadata() : nullptr;
            if (m != nullptr && !tooBig(raw, src))
                asRaw ? m->appendMetadata(src) : m->appendMetadata(other);
            break;
        }
        case UPDATE: { // some entry of that tag then holds exactly these values
            const uint32_t tag = pickTag(in, raw);
            const unsigned int count = in.u8() % (kMaxCount + 1);
            const std::vector<uint8_t> values = in.values(count);
            if (m == nullptr || !m->updateMetaDataByTag(tag, values.data(), count))
                break;
            camera_metadata_ro_entry_t e;
            bool found = false;
            for (size_t i = 0; !found && get_camera_metadata_ro_entry(m->getFwkMetadata(), i, &e) == 0; i++)
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
        case NAMES: { // any number, through the callbacks and through the library, which asks them
            using D = VendorTagDescriptorUtils;
            const uint32_t picked = pickTag(in, raw);
            const uint32_t tag = picked >> 30 == 1 ? 0x80000000u | (picked & 0x000F00FFu) : picked;
            const char* name = D::tamo_get_tag_name(nullptr, tag);
            const int type = D::tamo_get_tag_type(nullptr, tag);
            if (name == nullptr) // a number without a name has no type either
                FUZZ_CHECK(type == 255);
            else
                FUZZ_CHECK(D::tamo_get_section_name(nullptr, tag) != nullptr && type >= 0 && type < NUM_TYPES);
            if (tag >> 16 >= VENDOR_SECTION)
                FUZZ_CHECK(same(get_camera_metadata_tag_name(tag), name) && get_camera_metadata_tag_type(tag) == type);
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
    std::vector<AppVendorTagSection> sections; // the platform's, then the framework's seven
    VendorTagUtils::getAllVendorTags(sections); // installs the callbacks
    FUZZ_CHECK(sections.size() >= 7);
}

} // namespace

FUZZ_TARGET(setup, run)
