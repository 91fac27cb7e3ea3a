/*
 * Host android.hardware.graphics.common@1.0: pixel formats and buffer usage
 * bits, the values of the platform's graphics headers.
 */
#pragma once

#include <cstdint>

namespace android {
namespace hardware {
namespace graphics {
namespace common {
namespace V1_0 {

enum class PixelFormat : int32_t {
    RGBA_8888 = 0x1,
    RGBX_8888 = 0x2,
    RGB_888 = 0x3,
    RGB_565 = 0x4,
    BGRA_8888 = 0x5,
    YCBCR_422_SP = 0x10,
    YCRCB_420_SP = 0x11,
    YCBCR_422_I = 0x14,
    RGBA_FP16 = 0x16,
    RAW16 = 0x20,
    BLOB = 0x21,
    IMPLEMENTATION_DEFINED = 0x22,
    YCBCR_420_888 = 0x23,
    RAW_OPAQUE = 0x24,
    RAW10 = 0x25,
    RAW12 = 0x26,
    RGBA_1010102 = 0x2B,
    Y8 = 0x20203859,
    Y16 = 0x20363159,
    YV12 = 0x32315659,
};

enum class BufferUsage : uint64_t {
    CPU_READ_MASK = 0xfULL,
    CPU_READ_NEVER = 0,
    CPU_READ_RARELY = 2,
    CPU_READ_OFTEN = 3,
    CPU_WRITE_MASK = 0xfULL << 4,
    CPU_WRITE_NEVER = 0 << 4,
    CPU_WRITE_RARELY = 2 << 4,
    CPU_WRITE_OFTEN = 3 << 4,
    GPU_TEXTURE = 1ULL << 8,
    GPU_RENDER_TARGET = 1ULL << 9,
    COMPOSER_OVERLAY = 1ULL << 11,
    COMPOSER_CLIENT_TARGET = 1ULL << 12,
    PROTECTED = 1ULL << 14,
    COMPOSER_CURSOR = 1ULL << 15,
    VIDEO_ENCODER = 1ULL << 16,
    CAMERA_OUTPUT = 1ULL << 17,
    CAMERA_INPUT = 1ULL << 18,
    RENDERSCRIPT = 1ULL << 20,
    VIDEO_DECODER = 1ULL << 22,
    SENSOR_DIRECT_DATA = 1ULL << 23,
    GPU_DATA_BUFFER = 1ULL << 24,
    VENDOR_MASK = 0xfULL << 28,
    VENDOR_MASK_HI = 0xffffULL << 48,
};

} // namespace V1_0
} // namespace common
} // namespace graphics
} // namespace hardware
} // namespace android
