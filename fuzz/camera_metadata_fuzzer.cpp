/*
 * The camera metadata library on untrusted packets: whatever
 * validate_camera_metadata_structure() accepts, every read-only operation
 * must keep inside the packet, and copies must hold the same entries.
 *
 * Input: one control byte (bits 0-2: misalignment of the packet, bits 3-4:
 * dump verbosity), then the packet.
 */
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include <system/camera_metadata.h>

#include "FuzzSupport.h"

using tamo::fuzz::ExactCopy;

namespace {

int devNull = -1;

using Packet = std::unique_ptr<camera_metadata_t, void (*)(camera_metadata_t*)>;

size_t payloadBytes(const camera_metadata_ro_entry_t& e)
{
    return e.type < NUM_TYPES ? e.count * camera_metadata_type_size[e.type] : 0;
}

// Reads every payload byte, and checks that they lie in [base, base + size).
uint8_t touch(const camera_metadata_ro_entry_t& e, const void* base, size_t size)
{
    const size_t bytes = payloadBytes(e);
    if (bytes == 0)
        return 0;
    const auto* begin = static_cast<const uint8_t*>(base);
    FUZZ_CHECK(e.data.u8 >= begin && e.data.u8 + bytes <= begin + size);
    uint8_t sum = 0;
    for (size_t i = 0; i < bytes; i++)
        sum ^= e.data.u8[i];
    return sum;
}

bool sameEntry(const camera_metadata_ro_entry_t& a, const camera_metadata_ro_entry_t& b)
{
    return a.tag == b.tag && a.type == b.type && a.count == b.count &&
           std::memcmp(a.data.u8, b.data.u8, payloadBytes(a)) == 0;
}

// A packet of exactly its own size is valid, and holds src's entries in order.
void checkCopy(const camera_metadata_t* copy, const camera_metadata_t* src)
{
    FUZZ_CHECK(copy != nullptr);
    size_t size = get_camera_metadata_size(copy);
    FUZZ_CHECK(validate_camera_metadata_structure(copy, &size) == 0);
    const size_t n = get_camera_metadata_entry_count(src);
    FUZZ_CHECK(get_camera_metadata_entry_count(copy) == n);
    for (size_t i = 0; i < n; i++) {
        camera_metadata_ro_entry_t a, b;
        FUZZ_CHECK(get_camera_metadata_ro_entry(src, i, &a) == 0);
        FUZZ_CHECK(get_camera_metadata_ro_entry(copy, i, &b) == 0);
        FUZZ_CHECK(sameEntry(a, b));
    }
}

volatile uint8_t sink;

void readOnly(const camera_metadata_t* m, size_t size, int verbosity)
{
    const size_t n = get_camera_metadata_entry_count(m);
    FUZZ_CHECK(n <= get_camera_metadata_entry_capacity(m));
    FUZZ_CHECK(get_camera_metadata_data_count(m) <= get_camera_metadata_data_capacity(m));
    FUZZ_CHECK(get_camera_metadata_size(m) <= size);

    uint8_t sum = 0;
    for (size_t i = 0; i < n; i++) {
        camera_metadata_ro_entry_t e;
        FUZZ_CHECK(get_camera_metadata_ro_entry(m, i, &e) == 0);
        FUZZ_CHECK(e.index == i && e.type < NUM_TYPES);
        sum ^= touch(e, m, size);

        camera_metadata_ro_entry_t found;
        if (find_camera_metadata_ro_entry(m, e.tag, &found) == 0) {
            FUZZ_CHECK(found.tag == e.tag);
            sum ^= touch(found, m, size);
        }
        for (const char* name : {get_camera_metadata_section_name(e.tag), get_camera_metadata_tag_name(e.tag)})
            if (name != nullptr)
                sum ^= static_cast<uint8_t>(std::strlen(name));
        const int type = get_camera_metadata_tag_type(e.tag);
        FUZZ_CHECK(type >= -1 && type < NUM_TYPES);
    }
    camera_metadata_ro_entry_t none;
    FUZZ_CHECK(get_camera_metadata_ro_entry(m, n, &none) != 0);
    sink = sum;
    dump_camera_metadata(m, devNull, verbosity);

    Packet clone(clone_camera_metadata(m), free_camera_metadata);
    checkCopy(clone.get(), m);

    const size_t compact = get_camera_metadata_compact_size(m);
    ExactCopy block(compact);
    checkCopy(copy_camera_metadata(block.get(), compact, m), m);

    Packet fresh(allocate_camera_metadata(n, get_camera_metadata_data_count(m)), free_camera_metadata);
    FUZZ_CHECK(fresh != nullptr && append_camera_metadata(fresh.get(), m) == 0);
    checkCopy(fresh.get(), m);

    // A packet that claims to be sorted is searched as such; only an
    // unsorted one is sorted here.
    uint32_t flags;
    std::memcpy(&flags, reinterpret_cast<const uint8_t*>(m) + 8, sizeof(flags));
    if (flags & 1)
        return;
    auto* sorted = reinterpret_cast<camera_metadata_t*>(block.get());
    FUZZ_CHECK(sort_camera_metadata(sorted) == 0);
    size_t sortedSize = get_camera_metadata_size(sorted);
    FUZZ_CHECK(validate_camera_metadata_structure(sorted, &sortedSize) == 0);
    for (size_t i = 0; i < n; i++) {
        camera_metadata_ro_entry_t e, first, found;
        get_camera_metadata_ro_entry(m, i, &e);
        FUZZ_CHECK(find_camera_metadata_ro_entry(fresh.get(), e.tag, &first) == 0); // unsorted: the first
        FUZZ_CHECK(find_camera_metadata_ro_entry(sorted, e.tag, &found) == 0);
        FUZZ_CHECK(sameEntry(first, found)); // stable: equal tags keep their order
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    devNull = open("/dev/null", O_WRONLY | O_CLOEXEC);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const size_t shift = data[0] & 7;
    const int verbosity = (data[0] >> 3) % 3;
    const size_t packetSize = size - 1;

    // The packet where a client put it: possibly misaligned, and nothing
    // readable after its last byte.
    ExactCopy block(shift + packetSize);
    std::memcpy(block.get() + shift, data + 1, packetSize);
    auto* packet = reinterpret_cast<camera_metadata_t*>(block.get() + shift);
    size_t expected = packetSize;
    int res = validate_camera_metadata_structure(packet, &expected);
    if (res == CAMERA_METADATA_VALIDATION_SHIFTED) {
        FUZZ_CHECK(shift != 0);
        ExactCopy aligned(data + 1, packetSize);
        auto* m = reinterpret_cast<camera_metadata_t*>(aligned.get());
        FUZZ_CHECK(validate_camera_metadata_structure(m, &expected) == 0);
        readOnly(m, packetSize, verbosity);
        return 0;
    }
    if (res != 0)
        return 0;
    FUZZ_CHECK(shift == 0);
    readOnly(packet, packetSize, verbosity);
    return 0;
}
