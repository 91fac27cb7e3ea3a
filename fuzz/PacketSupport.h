// Camera metadata packets in fuzz inputs, shared by the targets that take
// them: reading one, picking tags, and what every packet must satisfy.
#pragma once

#include <system/camera_metadata.h>

#include "FuzzSupport.h"

namespace tamo::fuzz {

using Packet = std::unique_ptr<camera_metadata_t, void (*)(camera_metadata_t*)>;

inline Packet owned(camera_metadata_t* m)
{
    return Packet(m, free_camera_metadata);
}

// A 16-bit length and that many bytes, where a HIDL boundary would have
// checked it: false for one whose header claims more bytes than it has.
inline bool readPacket(Reader& in, ExactCopy& out, size_t maxSize = 4096)
{
    out = ExactCopy(in.bytes(in.u16() % (maxSize + 1)));
    if (out.size < 48)
        return false;
    uint32_t claimed;
    std::memcpy(&claimed, out.get(), sizeof(claimed));
    return claimed <= out.size;
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
        const size_t n = get_camera_metadata_entry_count(m);
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

inline bool sameEntry(const camera_metadata_ro_entry_t& a, const camera_metadata_ro_entry_t& b)
{
    return a.tag == b.tag && a.type == b.type && a.count == b.count &&
           std::memcmp(a.data.u8, b.data.u8, payloadBytes(a)) == 0;
}

// Valid at exactly its own size, when there is a packet.
inline void checkValid(const camera_metadata_t* m)
{
    size_t size = get_camera_metadata_size(m);
    FUZZ_CHECK(m == nullptr || validate_camera_metadata_structure(m, &size) == 0);
}

// A valid packet that holds src's entries in order.
inline void checkCopy(const camera_metadata_t* copy, const camera_metadata_t* src)
{
    FUZZ_CHECK(copy != nullptr);
    checkValid(copy);
    const size_t n = get_camera_metadata_entry_count(src);
    FUZZ_CHECK(get_camera_metadata_entry_count(copy) == n);
    for (size_t i = 0; i < n; i++) {
        camera_metadata_ro_entry_t a, b;
        FUZZ_CHECK(get_camera_metadata_ro_entry(src, i, &a) == 0 && get_camera_metadata_ro_entry(copy, i, &b) == 0);
        FUZZ_CHECK(sameEntry(a, b));
    }
}

} // namespace tamo::fuzz
