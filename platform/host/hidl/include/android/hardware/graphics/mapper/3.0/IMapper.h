/*
 * Host android.hardware.graphics.mapper@3.0::IMapper: buffer import and
 * free, and CPU access to a buffer's pixels. Services come from the host
 * service registry (<hidl/HostServiceRegistry.h>). Fences are not used on
 * the host: an empty acquire fence is expected and an empty release fence
 * is given back.
 */
#pragma once

#include <functional>
#include <string>

#include <android/hardware/graphics/common/1.0/types.h>
#include <android/hardware/graphics/mapper/3.0/types.h>
#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>

namespace android {
namespace hardware {
namespace graphics {
namespace mapper {
namespace V3_0 {

struct IMapper : public ::android::hidl::base::V1_0::IBase {
    struct Rect final {
        int32_t left;
        int32_t top;
        int32_t width;
        int32_t height;
    };

    static const char* descriptor;

    using importBuffer_cb = std::function<void(Error error, void* buffer)>;

    // Makes rawHandle usable in this process; the callback receives the
    // imported handle, to be given back to freeBuffer.
    virtual ::android::hardware::Return<void> importBuffer(
            const ::android::hardware::hidl_handle& rawHandle, importBuffer_cb _hidl_cb) = 0;
    virtual ::android::hardware::Return<Error> freeBuffer(void* buffer) = 0;

    using lock_cb = std::function<void(Error error, void* data, int32_t bytesPerPixel, int32_t bytesPerStride)>;
    // CPU access to the region of an imported buffer, usage naming the CPU
    // bits it was allocated with.
    virtual ::android::hardware::Return<void> lock(
            void* buffer, uint64_t cpuUsage, const Rect& accessRegion,
            const ::android::hardware::hidl_handle& acquireFence, lock_cb _hidl_cb) = 0;

    using lockYCbCr_cb = std::function<void(Error error, const YCbCrLayout& layout)>;
    // The same for a YCbCr buffer, its planes described; BAD_VALUE for a
    // format without chroma.
    virtual ::android::hardware::Return<void> lockYCbCr(
            void* buffer, uint64_t cpuUsage, const Rect& accessRegion,
            const ::android::hardware::hidl_handle& acquireFence, lockYCbCr_cb _hidl_cb) = 0;

    using unlock_cb = std::function<void(Error error, const ::android::hardware::hidl_handle& releaseFence)>;
    virtual ::android::hardware::Return<void> unlock(void* buffer, unlock_cb _hidl_cb) = 0;

    static ::android::hardware::Return<::android::sp<IMapper>> castFrom(
            const ::android::sp<::android::hidl::base::V1_0::IBase>& parent,
            bool emitError = false);
    static ::android::sp<IMapper> getService(const std::string& serviceName = "default",
                                             bool getStub = false);
};

} // namespace V3_0
} // namespace mapper
} // namespace graphics
} // namespace hardware
} // namespace android
