#include <hidl/HidlSupport.h>

#include <utility>

namespace android {
namespace hardware {

hidl_handle::hidl_handle() : mHandle(nullptr), mOwnsHandle(false) {}

hidl_handle::~hidl_handle()
{
    freeHandle();
}

hidl_handle::hidl_handle(const native_handle_t* handle) : mHandle(handle), mOwnsHandle(false) {}

hidl_handle::hidl_handle(const hidl_handle& other) : mHandle(nullptr), mOwnsHandle(false)
{
    *this = other;
}

hidl_handle::hidl_handle(hidl_handle&& other) noexcept : mHandle(nullptr), mOwnsHandle(false)
{
    *this = std::move(other);
}

hidl_handle& hidl_handle::operator=(const hidl_handle& other)
{
    if (this == &other)
        return *this;
    freeHandle();
    if (other.mHandle != nullptr) {
        mHandle = native_handle_clone(other.mHandle);
        mOwnsHandle = mHandle != nullptr;
    } else {
        mHandle = nullptr;
        mOwnsHandle = false;
    }
    return *this;
}

hidl_handle& hidl_handle::operator=(const native_handle_t* native_handle)
{
    freeHandle();
    mHandle = native_handle;
    mOwnsHandle = false;
    return *this;
}

hidl_handle& hidl_handle::operator=(hidl_handle&& other) noexcept
{
    if (this != &other) {
        freeHandle();
        mHandle = other.mHandle;
        mOwnsHandle = other.mOwnsHandle;
        other.mHandle = nullptr;
        other.mOwnsHandle = false;
    }
    return *this;
}

void hidl_handle::setTo(native_handle_t* handle, bool shouldOwn)
{
    freeHandle();
    mHandle = handle;
    mOwnsHandle = shouldOwn;
}

const native_handle_t* hidl_handle::operator->() const
{
    return mHandle;
}

hidl_handle::operator const native_handle_t*() const
{
    return mHandle;
}

const native_handle_t* hidl_handle::getNativeHandle() const
{
    return mHandle;
}

void hidl_handle::freeHandle()
{
    if (mOwnsHandle && mHandle != nullptr) {
        native_handle_t* handle = const_cast<native_handle_t*>(mHandle);
        native_handle_close(handle);
        native_handle_delete(handle);
    }
    mHandle = nullptr;
    mOwnsHandle = false;
}

} // namespace hardware
} // namespace android
