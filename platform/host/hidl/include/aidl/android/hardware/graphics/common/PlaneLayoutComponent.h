/*
 * Host android.hardware.graphics.common (AIDL): one component (Y, Cb, RAW
 * ...) of a plane, its bits within a sample.
 */
#pragma once

#include <cstdint>

#include <aidl/android/hardware/graphics/common/ExtendableType.h>

namespace aidl {
namespace android {
namespace hardware {
namespace graphics {
namespace common {

class PlaneLayoutComponent {
public:
    static const char* descriptor;

    ::aidl::android::hardware::graphics::common::ExtendableType type;
    int64_t offsetInBits = 0L;
    int64_t sizeInBits = 0L;
};

} // namespace common
} // namespace graphics
} // namespace hardware
} // namespace android
} // namespace aidl
