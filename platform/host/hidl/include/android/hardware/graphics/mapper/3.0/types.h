/*
 * Host android.hardware.graphics.mapper@3.0: the interface's types.
 */
#pragma once

#include <cstdint>

namespace android {
namespace hardware {
namespace graphics {
namespace mapper {
namespace V3_0 {

enum class Error : int32_t {
    NONE = 0,
    BAD_DESCRIPTOR = 1,
    BAD_BUFFER = 2,
    BAD_VALUE = 3,
    NO_RESOURCES = 5,
    UNSUPPORTED = 7,
};

// Where lockYCbCr() found the planes; strides and step in bytes.
struct YCbCrLayout final {
    void* y;
    void* cb;
    void* cr;
    uint32_t yStride;
    uint32_t cStride;
    uint32_t chromaStep;
};

} // namespace V3_0
} // namespace mapper
} // namespace graphics
} // namespace hardware
} // namespace android
