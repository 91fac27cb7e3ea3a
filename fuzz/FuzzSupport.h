// Shared by the fuzz targets: their entry points, reading an input front to
// back, invariant checks, and the camera metadata packets in inputs.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <system/camera_metadata.h>

#define FUZZ_CHECK(cond)                                                                        \
    do {                                                                                        \
        if (!(cond)) {                                                                          \
            std::fprintf(stderr, "%s:%d: invariant failed: %s\n", __FILE__, __LINE__, #cond);   \
            std::abort();                                                                       \
        }                                                                                       \
    } while (0)

// libFuzzer's entry points: setup() once, then run(Reader&) for each input.
#define FUZZ_TARGET(setup, run)                                                          \
    extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)                         \
    {                                                                                    \
        tamo::fuzz::quietStderr(argc, argv);                                             \
        setup();                                                                         \
        return 0;                                                                        \
    }                                                                                    \
    extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)              \
    {                                                                                    \
        tamo::fuzz::Reader in(data, size);                                               \
        run(in);                                                                         \
        return 0;                                                                        \
    }

namespace tamo::fuzz {

// Reads an input in order; past the end every value is 0 and every byte run
// empty, so any input is a complete program of operations. Byte runs are
// heap blocks of exactly their size: a read one past the end is an
// AddressSanitizer report.
class Reader {
public:
    Reader(const uint8_t* data, size_t size) : data(data), size(size) {}

    bool empty() const { return pos >= size; }
    size_t remaining() const { return size - pos; }
    const uint8_t* next() const { return data + pos; }

    uint8_t u8() { return pos < size ? data[pos++] : 0; }
    uint16_t u16() { return static_cast<uint16_t>(u8() | u8() << 8); }
    uint32_t u32() { return static_cast<uint32_t>(u16() | static_cast<uint32_t>(u16()) << 16); }

    // Up to n bytes, fewer at the end of the input.
    std::vector<uint8_t> bytes(size_t n)
    {
        n = n < remaining() ? n : remaining();
        std::vector<uint8_t> out(data + pos, data + pos + n);
        pos += n;
        return out;
    }

    // Values for count elements of any type, and a byte more, so that even
    // none have an address.
    std::vector<uint8_t> values(size_t count)
    {
        std::vector<uint8_t> v = bytes(count * 8);
        v.resize(count * 8 + 1);
        return v;
    }

    // A 16-bit length (at most 4096) and that many bytes, where a HIDL
    // boundary would have checked it: null for a packet shorter than its
    // header or than its header claims; valid when it validates.
    const camera_metadata_t* packet(std::vector<uint8_t>& out, bool& valid)
    {
        out = bytes(u16() % 4097);
        auto* packet = reinterpret_cast<const camera_metadata_t*>(out.data());
        size_t size = out.size();
        valid = validate_camera_metadata_structure(packet, &size) == 0;
        return size >= 48 && *reinterpret_cast<const uint32_t*>(out.data()) <= size ? packet : nullptr;
    }

private:
    const uint8_t* data;
    size_t size;
    size_t pos = 0;
};

using Packet = std::unique_ptr<camera_metadata_t, void (*)(camera_metadata_t*)>;

inline Packet owned(camera_metadata_t* m)
{
    return Packet(m, free_camera_metadata);
}

// Tags of every kind: standard ones of each type, vendor tags of the first
// nine vendor sections, platform vendor tags, tags the packet holds, and
// any number at all.
inline uint32_t pickTag(Reader& in, const camera_metadata_t* m)
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
        return 0x80000000u + ((in.u8() % 9u) << 16) + in.u8() % 0x52;
    case 2:
        return 0x81000000u + in.u16();
    case 3: {
        // m may be an object's missing buffer; the count does not take NULL.
        const size_t n = m != nullptr ? get_camera_metadata_entry_count(m) : 0;
        camera_metadata_ro_entry_t e;
        return n != 0 && get_camera_metadata_ro_entry(m, in.u16() % n, &e) == 0 ? e.tag : 0;
    }
    default:
        return in.u32();
    }
}

inline size_t payloadBytes(const camera_metadata_ro_entry_t& e)
{
    return e.type < NUM_TYPES ? e.count * camera_metadata_type_size[e.type] : 0;
}

// Valid at exactly its own size, when there is a packet.
inline void checkValid(const camera_metadata_t* m)
{
    size_t size = get_camera_metadata_size(m);
    FUZZ_CHECK(m == nullptr || validate_camera_metadata_structure(m, &size) == 0);
}

// The library logs to standard error, and the dump paths log a line per
// value. libFuzzer's -close_fd_mask=2 sends fd 2 to /dev/null while it keeps
// its own output and the sanitizer reports on a duplicate; this adds the
// flag to the command line unless the caller gave one (=0 shows the lines).
inline void quietStderr(int* argc, char*** argv)
{
    for (int i = 1; i < *argc; i++)
        if (std::strncmp((*argv)[i], "-close_fd_mask=", 15) == 0)
            return;
    static std::vector<char*> args;
    static char flag[] = "-close_fd_mask=2";
    args.assign(*argv, *argv + *argc);
    args.insert(args.begin() + 1, flag);
    args.push_back(nullptr);
    *argv = args.data();
    *argc += 1;
}

} // namespace tamo::fuzz
