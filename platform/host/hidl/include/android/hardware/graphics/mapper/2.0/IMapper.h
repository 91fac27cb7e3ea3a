/*
 * Host android.hardware.graphics.mapper@2.0::IMapper: buffer import and
 * free. Services come from the host service registry
 * (<hidl/HostServiceRegistry.h>).
 */
#pragma once

#include <functional>
#include <string>

#include <android/hardware/graphics/mapper/2.0/types.h>
#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>

namespace android {
namespace hardware {
namespace graphics {
namespace mapper {
namespace V2_0 {

struct IMapper : public ::android::hidl::base::V1_0::IBase {
    static const char* descriptor;

    using importBuffer_cb = std::function<void(Error error, void* buffer)>;

    // Makes rawHandle usable in this process; the callback receives the
    // imported handle, to be given back to freeBuffer.
    virtual ::android::hardware::Return<void> importBuffer(
            const ::android::hardware::hidl_handle& rawHandle, importBuffer_cb _hidl_cb) = 0;
    virtual ::android::hardware::Return<Error> freeBuffer(void* buffer) = 0;

    static ::android::hardware::Return<::android::sp<IMapper>> castFrom(
            const ::android::sp<::android::hidl::base::V1_0::IBase>& parent,
            bool emitError = false);
    static ::android::sp<IMapper> getService(const std::string& serviceName = "default",
                                             bool getStub = false);
};

} // namespace V2_0
} // namespace mapper
} // namespace graphics
} // namespace hardware
} // namespace android
