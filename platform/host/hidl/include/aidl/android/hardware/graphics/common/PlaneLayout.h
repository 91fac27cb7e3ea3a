/*
 * Host android.hardware.graphics.common (AIDL): where one plane of a buffer
 * lies and how its samples are laid out, as a 4.0 mapper reports it.
 */
#pragma once

#include <cstdint>
#include <vector>

#include <aidl/android/hardware/graphics/common/PlaneLayoutComponent.h>

namespace aidl {
namespace android {
namespace hardware {
namespace graphics {
namespace common {

class PlaneLayout {
public:
    static const char* descriptor;

    std::vector<::aidl::android::hardware::graphics::common::PlaneLayoutComponent> components;
    int64_t offsetInBytes = 0L;
    int64_t sampleIncrementInBits = 0L;
    int64_t strideInBytes = 0L;
    int64_t widthInSamples = 0L;
    int64_t heightInSamples = 0L;
    int64_t totalSizeInBytes = 0L;
    int64_t horizontalSubsampling = 0L;
    int64_t verticalSubsampling = 0L;
};

} // namespace common
} // namespace graphics
} // namespace hardware
} // namespace android
} // namespace aidl
