/*
 * Host android.hardware.graphics.common (AIDL): the standard pieces of a
 * buffer's metadata that IMapper 4.0's get() is asked for.
 */
#pragma once

#include <cstdint>

namespace aidl {
namespace android {
namespace hardware {
namespace graphics {
namespace common {

enum class StandardMetadataType : int64_t {
    INVALID = 0L,
    BUFFER_ID = 1L,
    NAME = 2L,
    WIDTH = 3L,
    HEIGHT = 4L,
    LAYER_COUNT = 5L,
    PIXEL_FORMAT_REQUESTED = 6L,
    PIXEL_FORMAT_FOURCC = 7L,
    PIXEL_FORMAT_MODIFIER = 8L,
    USAGE = 9L,
    ALLOCATION_SIZE = 10L,
    PROTECTED_CONTENT = 11L,
    COMPRESSION = 12L,
    INTERLACED = 13L,
    CHROMA_SITING = 14L,
    PLANE_LAYOUTS = 15L,
    CROP = 16L,
    DATASPACE = 17L,
    BLEND_MODE = 18L,
    SMPTE2086 = 19L,
    CTA861_3 = 20L,
    SMPTE2094_40 = 21L,
};

} // namespace common
} // namespace graphics
} // namespace hardware
} // namespace android
} // namespace aidl
