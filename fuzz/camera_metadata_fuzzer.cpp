// The camera metadata library on untrusted packets. Whatever
// validate_camera_metadata_structure() accepts, every read-only operation
// stays inside the packet and every value's label reads back as that value.
// A copy with room to spare is then edited (add, update, delete, append,
// sort), copied, dumped and its tags named through vendor tag callbacks; it
// must stay valid, and each edit must succeed exactly when it fits and leave
// exactly the entries, sorted flag and data bytes the model predicts.
//
// Input: a control byte (bits 0-2: misalignment of the packet), the packet
// (as many bytes as its header's size says, or all that is left), then
// operations on the copy, an opcode byte and its arguments each.
#include <errno.h>
#include <fcntl.h>

#include <algorithm>
#include <string>
#include <tuple>

#include "FuzzSupport.h"

#include <camera_metadata_hidden.h>

using namespace tamo::fuzz;

namespace {

int devNull = -1;
volatile uint8_t sink;
bool opsOn, cacheOn; // which of the callback tables below are installed

// The fuzzer's own vendor tags: sections 0x8000 and 0x8001 of sixteen tags,
// typed by number, 6 (which the library must refuse) included; through the
// per-vendor-id table the types are shifted by the id.
const char* sectionOf(uint32_t tag)
{
    return tag >> 16 == 0x8000 ? "fuzz.first" : tag >> 16 == 0x8001 ? "fuzz.second" : nullptr;
}
const char* nameOf(uint32_t tag)
{
    static const char names[] = "t0\0t1\0t2\0t3\0t4\0t5\0t6\0t7\0t8\0t9\0ta\0tb\0tc\0td\0te\0tf";
    return sectionOf(tag) != nullptr && (tag & 0xFFFF) < 16 ? names + 3 * (tag & 0xFFFF) : nullptr;
}
int typeOf(uint32_t tag, uint64_t id)
{
    return nameOf(tag) != nullptr ? static_cast<int>((tag + id) % 7) : -1;
}
vendor_tag_ops_t ops = {
    [](const vendor_tag_ops_t*) { return 32; },
    [](const vendor_tag_ops_t*, uint32_t* tags) {
        for (uint32_t i = 0; i < 32; i++)
            tags[i] = 0x80000000u + (i / 16 << 16) + i % 16;
    },
    [](const vendor_tag_ops_t*, uint32_t tag) { return sectionOf(tag); },
    [](const vendor_tag_ops_t*, uint32_t tag) { return nameOf(tag); },
    [](const vendor_tag_ops_t*, uint32_t tag) { return typeOf(tag, 0); },
    {}};
vendor_tag_cache_ops_t cacheOps = {
    [](metadata_vendor_id_t) { return 32; }, [](uint32_t*, metadata_vendor_id_t) {},
    [](uint32_t tag, metadata_vendor_id_t) { return sectionOf(tag); },
    [](uint32_t tag, metadata_vendor_id_t) { return nameOf(tag); }, typeOf, {}};

std::string payload(const uint8_t* bytes, size_t n)
{
    return std::string(reinterpret_cast<const char*>(bytes), n);
}

// What a packet holds: every entry as (tag, type, count, payload) in order,
// its sorted flag (bit 0 of the flags word), and the data bytes its entries do not account for (a
// packet from elsewhere may have spare ones, or shared ones counted twice),
// which no edit changes.
struct Model {
    using Entry = std::tuple<uint32_t, uint8_t, size_t, std::string>;
    std::vector<Entry> entries;
    bool sorted;
    size_t slack;
    bool operator==(const Model& o) const
    {
        return std::tie(entries, sorted, slack) == std::tie(o.entries, o.sorted, o.slack);
    }
};

bool byTag(const Model::Entry& a, const Model::Entry& b)
{
    return std::get<0>(a) < std::get<0>(b);
}

Model modelOf(const camera_metadata_t* m)
{
    Model model{{}, (reinterpret_cast<const uint8_t*>(m)[8] & 1) != 0, get_camera_metadata_data_count(m)};
    camera_metadata_ro_entry_t e;
    for (size_t i = 0; get_camera_metadata_ro_entry(m, i, &e) == 0; i++) {
        model.entries.emplace_back(e.tag, e.type, e.count, payload(e.data.u8, payloadBytes(e)));
        model.slack -= calculate_camera_metadata_entry_data_size(e.type, e.count);
    }
    return model;
}

void check(const camera_metadata_t* m, const Model& model)
{
    FUZZ_CHECK(m != nullptr);
    checkValid(m);
    FUZZ_CHECK(modelOf(m) == model);
}

// Whether another entry's payload shares data-area bytes with this one's,
// as a packet from elsewhere may have it; rewriting one then changes both.
bool shared(const camera_metadata_t* m, size_t index)
{
    camera_metadata_ro_entry_t a, b;
    get_camera_metadata_ro_entry(m, index, &a);
    const size_t bytes = calculate_camera_metadata_entry_data_size(a.type, a.count);
    for (size_t i = 0; bytes != 0 && get_camera_metadata_ro_entry(m, i, &b) == 0; i++) {
        const size_t other = calculate_camera_metadata_entry_data_size(b.type, b.count);
        if (i != index && other != 0 && b.data.u8 < a.data.u8 + bytes && a.data.u8 < b.data.u8 + other)
            return true;
    }
    return false;
}

// Names and type of a tag through the library: a vendor tag's as the
// installed callbacks answer for the packet's vendor id.
void checkNames(uint32_t tag, const camera_metadata_t* m)
{
    const char* section = get_local_camera_metadata_section_name(tag, m);
    const char* name = get_local_camera_metadata_tag_name(tag, m);
    const int type = get_local_camera_metadata_tag_type(tag, m);
    const uint64_t id = get_camera_metadata_vendor_id(m);
    if (tag >> 16 < VENDOR_SECTION || id == CAMERA_METADATA_INVALID_VENDOR_ID)
        FUZZ_CHECK(get_camera_metadata_tag_type(tag) == type && get_camera_metadata_tag_name(tag) == name &&
                   get_camera_metadata_section_name(tag) == section);
    if (tag >> 16 < VENDOR_SECTION)
        FUZZ_CHECK(type >= -1 && type < NUM_TYPES && (type == -1) == (name == nullptr));
    else if (id != CAMERA_METADATA_INVALID_VENDOR_ID && cacheOn)
        FUZZ_CHECK(section == sectionOf(tag) && name == nameOf(tag) && type == typeOf(tag, id));
    else
        FUZZ_CHECK(section == (opsOn ? sectionOf(tag) : nullptr) && name == (opsOn ? nameOf(tag) : nullptr) &&
                   type == (opsOn ? typeOf(tag, 0) : -1));
    sink = static_cast<uint8_t>((section ? std::strlen(section) : 0) + (name ? std::strlen(name) : 0));
}

// A value's label reads back as that value; without one, the text says why.
void checkLabel(uint32_t tag, uint32_t value)
{
    char text[CAMERA_METADATA_ENUM_STRING_MAX_SIZE];
    uint32_t back = ~value;
    if (camera_metadata_enum_snprint(tag, value, text, sizeof(text)) != 0)
        FUZZ_CHECK(std::strncmp(text, "error: ", 7) == 0);
    else
        FUZZ_CHECK(camera_metadata_enum_value(tag, text, std::strlen(text) + 1, &back) == 0 && back == value);
}

// Reads every payload byte, and checks that they lie in [base, base + size).
uint8_t touch(const camera_metadata_ro_entry_t& e, const void* base, size_t size)
{
    const auto* begin = static_cast<const uint8_t*>(base);
    FUZZ_CHECK(payloadBytes(e) == 0 || (e.data.u8 >= begin && e.data.u8 + payloadBytes(e) <= begin + size));
    uint8_t sum = 0;
    for (size_t i = 0; i < payloadBytes(e); i++)
        sum ^= e.data.u8[i];
    return sum;
}

void readOnly(const camera_metadata_t* m, size_t size)
{
    const size_t n = get_camera_metadata_entry_count(m);
    FUZZ_CHECK(n <= get_camera_metadata_entry_capacity(m) && get_camera_metadata_size(m) <= size &&
               get_camera_metadata_data_count(m) <= get_camera_metadata_data_capacity(m));
    uint8_t sum = 0;
    for (size_t i = 0; i < n; i++) {
        camera_metadata_ro_entry_t e, found;
        FUZZ_CHECK(get_camera_metadata_ro_entry(m, i, &e) == 0 && e.index == i && e.type < NUM_TYPES);
        sum ^= touch(e, m, size);
        if (find_camera_metadata_ro_entry(m, e.tag, &found) == 0) {
            FUZZ_CHECK(found.tag == e.tag);
            sum ^= touch(found, m, size);
        }
        checkNames(e.tag, m);
        if (e.count != 0 && (e.type == TYPE_BYTE || e.type == TYPE_INT32))
            checkLabel(e.tag, e.type == TYPE_BYTE ? e.data.u8[0] : uint32_t(e.data.i32[0]));
    }
    sink = sum;
}

enum Op : uint8_t { ADD, UPDATE, DELETE, APPEND, COPY, SORT, DUMP, FIND, VENDOR, SIZES, OP_COUNT };

void edit(Reader& in, const camera_metadata_t* m)
{
    Packet w = owned(allocate_camera_metadata(get_camera_metadata_entry_count(m) + in.u8() % 16,
                                              get_camera_metadata_data_count(m) + in.u16() % 512));
    FUZZ_CHECK(w != nullptr && append_camera_metadata(w.get(), m) == 0);
    camera_metadata_t* p = w.get();
    Model model = modelOf(m);
    check(p, model);
    int dumped = 0;
    for (int step = 0; step < 64 && !in.empty(); step++) {
        const size_t n = model.entries.size();
        const size_t room = get_camera_metadata_data_capacity(p) - get_camera_metadata_data_count(p);
        camera_metadata_ro_entry_t e{};
        const uint8_t op = in.u8() % OP_COUNT;
        switch (op) {
        case ADD: {
            const uint32_t tag = pickTag(in, p);
            const size_t count = in.u8() % 40;
            const std::vector<uint8_t> v = in.values(count);
            const int type = get_local_camera_metadata_tag_type(tag, p);
            const bool fits = type >= 0 && type < NUM_TYPES && n < get_camera_metadata_entry_capacity(p) &&
                              calculate_camera_metadata_entry_data_size(type, count) <= room;
            FUZZ_CHECK((add_camera_metadata_entry(p, tag, v.data(), count) == 0) == fits);
            if (fits) {
                const size_t bytes = count * camera_metadata_type_size[type];
                model.entries.emplace_back(tag, type, count, payload(v.data(), bytes));
                model.sorted = false;
            }
            break;
        }
        case UPDATE: {
            const size_t index = in.u8() % (n + 1);
            size_t count = in.u8() % 40;
            const std::vector<uint8_t> v = in.values(count);
            const uint8_t* from = v.data();
            const bool own = in.u8() & 1; // values from the packet itself, which the update moves
            if (get_camera_metadata_ro_entry(p, index, &e) != 0) {
                FUZZ_CHECK(update_camera_metadata_entry(p, index, from, count, nullptr) != 0);
                break;
            }
            const size_t size = camera_metadata_type_size[e.type];
            if (own) {
                camera_metadata_ro_entry_t source;
                get_camera_metadata_ro_entry(p, in.u8() % n, &source);
                from = source.data.u8;
                const uint8_t* end = reinterpret_cast<uint8_t*>(p) + get_camera_metadata_size(p);
                count = std::min<size_t>(count, (end - from) / size);
            }
            const std::string wanted = payload(from, count * size);
            const size_t before = calculate_camera_metadata_entry_data_size(e.type, e.count);
            const size_t after = calculate_camera_metadata_entry_data_size(e.type, count);
            const bool aliased = shared(p, index);
            const bool fits = after <= before + room && (!aliased || after == before);
            camera_metadata_entry_t updated;
            const int res = update_camera_metadata_entry(p, index, count ? from : nullptr, count, &updated);
            FUZZ_CHECK((res == 0) == fits);
            if (!fits)
                break;
            FUZZ_CHECK(updated.index == index && updated.count == count &&
                       payload(updated.data.u8, wanted.size()) == wanted);
            std::get<2>(model.entries[index]) = count;
            std::get<3>(model.entries[index]) = wanted;
            if (aliased) // the entries sharing its bytes changed too
                model.entries = modelOf(p).entries;
            break;
        }
        case DELETE: {
            const size_t index = in.u8() % (n + 1);
            const bool deletable = index < n && !shared(p, index);
            FUZZ_CHECK((delete_camera_metadata_entry(p, index) == 0) == deletable);
            if (deletable)
                model.entries.erase(model.entries.begin() + index);
            break;
        }
        case APPEND: { // into a fresh packet of any room, or the original into this one
            const bool into = in.u8() & 1;
            Packet fresh = owned(allocate_camera_metadata(in.u8() % 32, in.u16() % 1024));
            camera_metadata_t* dst = into ? p : fresh.get();
            const camera_metadata_t* src = into ? m : p;
            const uint64_t id = get_camera_metadata_vendor_id(dst), srcId = get_camera_metadata_vendor_id(src);
            const size_t entryRoom = get_camera_metadata_entry_capacity(dst) - get_camera_metadata_entry_count(dst);
            const size_t dataRoom = get_camera_metadata_data_capacity(dst) - get_camera_metadata_data_count(dst);
            const bool fits = get_camera_metadata_entry_count(src) <= entryRoom &&
                              get_camera_metadata_data_count(src) <= dataRoom &&
                              (id == srcId || std::max(id, srcId) == CAMERA_METADATA_INVALID_VENDOR_ID);
            FUZZ_CHECK((append_camera_metadata(dst, src) == 0) == fits);
            if (!fits)
                break;
            FUZZ_CHECK(get_camera_metadata_vendor_id(dst) == (id == CAMERA_METADATA_INVALID_VENDOR_ID ? srcId : id));
            if (!into) {
                check(dst, model);
                break;
            }
            const Model added = modelOf(m); // an empty target takes the source's flag
            model.sorted = n == 0 ? added.sorted : model.sorted && added.entries.empty();
            model.entries.insert(model.entries.end(), added.entries.begin(), added.entries.end());
            model.slack += added.slack;
            break;
        }
        case COPY: {
            const size_t compact = get_camera_metadata_compact_size(p), size = get_camera_metadata_size(p);
            const uint64_t id = get_camera_metadata_vendor_id(p);
            Packet clone = owned(clone_camera_metadata(p));
            Packet checked = owned(allocate_copy_camera_metadata_checked(p, size));
            std::vector<uint8_t> block(compact), small(compact - 8);
            camera_metadata_t* copied = copy_camera_metadata(block.data(), compact, p);
            for (const camera_metadata_t* copy : {copied, clone.get(), checked.get()}) {
                check(copy, model);
                FUZZ_CHECK(get_camera_metadata_vendor_id(copy) == id);
            }
            FUZZ_CHECK(get_camera_metadata_size(clone.get()) == compact);
            FUZZ_CHECK(copy_camera_metadata(small.data(), small.size(), p) == nullptr);
            FUZZ_CHECK(allocate_copy_camera_metadata_checked(p, size - 8) == nullptr); // shorter than it says
            FUZZ_CHECK(allocate_copy_camera_metadata_checked(p, in.u8() % 48) == nullptr);
            break;
        }
        case SORT:
            if (!model.sorted) // a packet that claims to be sorted is left as it is
                std::stable_sort(model.entries.begin(), model.entries.end(), byTag);
            model.sorted = true;
            FUZZ_CHECK(sort_camera_metadata(p) == 0);
            break;
        case DUMP: { // once, and small: every value is a dprintf, which is slow
            const int verbosity = in.u8() % 3, indentation = in.u8() % 16;
            if (dumped++ == 0 && n <= 16 && get_camera_metadata_data_count(p) <= 256)
                dump_indented_camera_metadata(p, devNull, verbosity, indentation);
            break;
        }
        case FIND: {
            const uint32_t tag = pickTag(in, p);
            camera_metadata_entry_t found;
            const int res = find_camera_metadata_entry(p, tag, &found);
            FUZZ_CHECK(res == find_camera_metadata_ro_entry(p, tag, &e) && (res == 0 || res == -ENOENT));
            // Found where the model has it; not found only when the model has none of it, unless the
            // packet came claiming an order it is not in, and is searched as if it were.
            if (res == 0)
                FUZZ_CHECK(found.tag == tag && e.index == found.index &&
                           std::get<0>(model.entries[found.index]) == tag);
            else if (!model.sorted || std::is_sorted(model.entries.begin(), model.entries.end(), byTag))
                FUZZ_CHECK(std::none_of(model.entries.begin(), model.entries.end(),
                                        [tag](const auto& entry) { return std::get<0>(entry) == tag; }));
            checkNames(tag, p);
            break;
        }
        case VENDOR: { // the packet's vendor id, and which callbacks are installed
            const uint8_t how = in.u8();
            set_camera_metadata_vendor_id(p, how % 4 == 3 ? CAMERA_METADATA_INVALID_VENDOR_ID : how % 4);
            set_camera_metadata_vendor_ops((opsOn = !(how & 4)) ? &ops : nullptr);
            set_camera_metadata_vendor_cache_ops((cacheOn = how & 8) ? &cacheOps : nullptr);
            FUZZ_CHECK(set_camera_metadata_vendor_tag_ops(nullptr) != 0);
            checkNames(pickTag(in, p), p);
            break;
        }
        case SIZES: { // size arithmetic, placing a packet anywhere, the tags that need a permission
            const uint32_t entryCount = in.u32(), dataCount = in.u32();
            const size_t size = calculate_camera_metadata_size(entryCount, dataCount);
            FUZZ_CHECK(size >= 48 + entryCount * 16ull + dataCount || size == SIZE_MAX);
            const uint8_t type = in.u8() % 8;
            const size_t bytes = calculate_camera_metadata_entry_data_size(type, dataCount);
            FUZZ_CHECK(type >= NUM_TYPES ? bytes == 0 : bytes % 8 == 0 && bytes < dataCount * 8ull + 8);
            std::vector<uint8_t> block(512);
            const size_t shift = in.u8() % 9;
            camera_metadata_t* placed = place_camera_metadata(block.data() + shift, block.size() - shift,
                                                              entryCount % 32, dataCount % 512);
            FUZZ_CHECK(placed == nullptr || (shift % 8 == 0 && get_camera_metadata_entry_count(placed) == 0));
            checkValid(placed);
            uint32_t listed = 0;
            FUZZ_CHECK(get_camera_metadata_permission_needed(&listed) != nullptr && listed != 0);
            break;
        }
        }
        check(p, model);
    }
}

void setup()
{
    devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
}

void run(Reader& in)
{
    set_camera_metadata_vendor_ops(&ops);
    set_camera_metadata_vendor_cache_ops(nullptr);
    opsOn = true, cacheOn = false;
    const uint8_t control = in.u8();
    const size_t shift = control & 7;
    uint32_t claimed = 0;
    if (in.remaining() >= 4)
        std::memcpy(&claimed, in.next(), 4);
    const std::vector<uint8_t> bytes = in.bytes(claimed >= 48 && claimed <= in.remaining() ? claimed : in.remaining());
    if (bytes.size() < 48)
        return;

    // The packet where a client put it: possibly misaligned, and nothing
    // readable after its last byte.
    std::vector<uint8_t> block(shift + bytes.size());
    std::copy(bytes.begin(), bytes.end(), block.begin() + shift);
    auto* packet = reinterpret_cast<camera_metadata_t*>(block.data() + shift);
    size_t expected = bytes.size();
    const int res = validate_camera_metadata_structure(packet, &expected);
    if (res != 0 && res != CAMERA_METADATA_VALIDATION_SHIFTED)
        return;
    FUZZ_CHECK((res == CAMERA_METADATA_VALIDATION_SHIFTED) == (shift != 0));
    auto* m = reinterpret_cast<const camera_metadata_t*>(bytes.data());
    FUZZ_CHECK(validate_camera_metadata_structure(m, &expected) == 0);
    readOnly(m, bytes.size());
    edit(in, m);
}

} // namespace

FUZZ_TARGET(setup, run)
