/*
 * Host android.hardware.graphics.common (AIDL, NDK backend): a value of an
 * enumeration named by its AIDL type ("android.hardware.graphics.common.
 * PlaneLayoutComponentType", say), so vendors may extend it. No parcelling:
 * the host has no binder.
 */
#pragma once

#include <cstdint>
#include <string>

namespace aidl {
namespace android {
namespace hardware {
namespace graphics {
namespace common {

class ExtendableType {
public:
    static const char* descriptor;

    std::string name;
    int64_t value = 0L;
};

} // namespace common
} // namespace graphics
} // namespace hardware
} // namespace android
} // namespace aidl
