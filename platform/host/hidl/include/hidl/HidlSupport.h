/*
 * Host libhidlbase: the parts of HIDL's support types that the camera
 * framework uses. Same header path, namespace and signatures as the
 * platform's.
 */
#pragma once

#include <cstdint>

#include <cutils/native_handle.h>

namespace android {
namespace hardware {

/*
 * A native handle passed through a HIDL call. Constructed from a raw pointer
 * it only refers to the handle; a copy clones the handle (file descriptors
 * included) and owns the clone, closing and deleting it when it goes away.
 */
struct hidl_handle {
    hidl_handle();
    ~hidl_handle();

    hidl_handle(const native_handle_t* handle);
    hidl_handle(const hidl_handle& other);
    hidl_handle(hidl_handle&& other) noexcept;

    hidl_handle& operator=(const hidl_handle& other);
    hidl_handle& operator=(const native_handle_t* native_handle);
    hidl_handle& operator=(hidl_handle&& other) noexcept;

    // Takes ownership of handle when shouldOwn is set.
    void setTo(native_handle_t* handle, bool shouldOwn = false);

    const native_handle_t* operator->() const;
    operator const native_handle_t*() const;
    const native_handle_t* getNativeHandle() const;

    bool operator==(const hidl_handle& other) const;
    bool operator!=(const hidl_handle& other) const { return !(*this == other); }

private:
    void freeHandle();

    const native_handle_t* mHandle;
    bool mOwnsHandle;
};

} // namespace hardware
} // namespace android
