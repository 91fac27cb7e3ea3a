/*
 * Host libhidlbase: the root of every HIDL interface.
 */
#pragma once

#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

namespace android {
namespace hidl {
namespace base {
namespace V1_0 {

struct IBase : virtual public ::android::RefBase {
    static const char* descriptor;

    virtual ~IBase() = default;

    // True for a proxy of a service that lives in another process.
    virtual bool isRemote() const { return false; }
};

} // namespace V1_0
} // namespace base
} // namespace hidl
} // namespace android
