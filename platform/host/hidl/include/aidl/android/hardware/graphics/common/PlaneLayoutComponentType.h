/*
 * Host android.hardware.graphics.common (AIDL): the standard plane
 * components.
 */
#pragma once

#include <cstdint>

namespace aidl {
namespace android {
namespace hardware {
namespace graphics {
namespace common {

enum class PlaneLayoutComponentType : int64_t {
    Y = 1L,
    CB = 2L,
    CR = 4L,
    R = 1024L,
    G = 2048L,
    B = 4096L,
    RAW = 1048576L,
    A = 1073741824L,
};

} // namespace common
} // namespace graphics
} // namespace hardware
} // namespace android
} // namespace aidl
