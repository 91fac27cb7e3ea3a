/*
 * Host libhidlbase: the parts of HIDL's support types that the camera
 * framework uses. Same header path, namespace and signatures as the
 * platform's.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <vector>

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

private:
    void freeHandle();

    const native_handle_t* mHandle;
    bool mOwnsHandle;
};

/*
 * A string passed through a HIDL call. The host keeps it in a std::string;
 * the platform's layout (pointer, size, ownership) matters only across a
 * transport, which the host does not have.
 */
class hidl_string {
public:
    hidl_string() = default;
    hidl_string(const char* s) : mString(s != nullptr ? s : "") {}
    hidl_string(const char* s, size_t length) : mString(s, length) {}
    hidl_string(const std::string& s) : mString(s) {}

    const char* c_str() const { return mString.c_str(); }
    size_t size() const { return mString.size(); }
    bool empty() const { return mString.empty(); }
    operator std::string() const { return mString; }

    bool operator==(const hidl_string& other) const { return mString == other.mString; }
    bool operator!=(const hidl_string& other) const { return mString != other.mString; }

private:
    std::string mString;
};

/*
 * A vector passed through a HIDL call: sizes are 32 bits wide, as on the
 * platform, and elements are value-initialised.
 */
template <typename T>
class hidl_vec {
public:
    using value_type = T;
    using iterator = typename std::vector<T>::iterator;
    using const_iterator = typename std::vector<T>::const_iterator;

    hidl_vec() = default;
    hidl_vec(size_t size) : mBuffer(size) {}
    hidl_vec(std::initializer_list<T> list) : mBuffer(list) {}
    hidl_vec(const std::vector<T>& other) : mBuffer(other) {}
    template <typename InputIterator>
    hidl_vec(InputIterator begin, InputIterator end) : mBuffer(begin, end) {}

    size_t size() const { return mBuffer.size(); }
    void resize(size_t size) { mBuffer.resize(size); }
    T* data() { return mBuffer.data(); }
    const T* data() const { return mBuffer.data(); }
    T& operator[](size_t index) { return mBuffer[index]; }
    const T& operator[](size_t index) const { return mBuffer[index]; }
    iterator begin() { return mBuffer.begin(); }
    iterator end() { return mBuffer.end(); }
    const_iterator begin() const { return mBuffer.begin(); }
    const_iterator end() const { return mBuffer.end(); }
    operator std::vector<T>() const { return mBuffer; }

    bool operator==(const hidl_vec& other) const { return mBuffer == other.mBuffer; }
    bool operator!=(const hidl_vec& other) const { return mBuffer != other.mBuffer; }

private:
    std::vector<T> mBuffer;
};

// The value type of a HIDL enum used as a set of bits.
template <typename Enum>
using hidl_bitfield = typename std::underlying_type<Enum>::type;

} // namespace hardware
} // namespace android
