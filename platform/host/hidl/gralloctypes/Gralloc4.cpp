#include <gralloctypes/Gralloc4.h>

namespace aidl {
namespace android {
namespace hardware {
namespace graphics {
namespace common {

const char* ExtendableType::descriptor = "android.hardware.graphics.common.ExtendableType";
const char* PlaneLayoutComponent::descriptor = "android.hardware.graphics.common.PlaneLayoutComponent";
const char* PlaneLayout::descriptor = "android.hardware.graphics.common.PlaneLayout";

} // namespace common
} // namespace graphics
} // namespace hardware
} // namespace android
} // namespace aidl

namespace android {
namespace gralloc4 {

using aidl::android::hardware::graphics::common::ExtendableType;
using aidl::android::hardware::graphics::common::PlaneLayout;
using aidl::android::hardware::graphics::common::PlaneLayoutComponent;
using android::hardware::hidl_vec;
using MetadataType = android::hardware::graphics::mapper::V4_0::IMapper::MetadataType;

namespace {

class Writer {
public:
    void integer(int64_t value) { bytes(&value, sizeof(value)); }
    void string(const std::string& text)
    {
        integer(static_cast<int64_t>(text.size()));
        bytes(text.data(), text.size());
    }
    void extendable(const ExtendableType& type)
    {
        string(type.name);
        integer(type.value);
    }
    std::vector<uint8_t> out;

private:
    void bytes(const void* data, size_t size)
    {
        const auto* p = static_cast<const uint8_t*>(data);
        out.insert(out.end(), p, p + size);
    }
};

// Every read fails once one has: the caller checks ok() at the end.
class Reader {
public:
    explicit Reader(const hidl_vec<uint8_t>& input) : mData(input.data()), mLeft(input.size()) {}

    int64_t integer()
    {
        int64_t value = 0;
        if (take(sizeof(value)))
            std::memcpy(&value, mData - sizeof(value), sizeof(value));
        return value;
    }
    std::string string()
    {
        const int64_t size = integer();
        if (size < 0 || static_cast<uint64_t>(size) > mLeft) {
            mFailed = true;
            return {};
        }
        take(static_cast<size_t>(size));
        return std::string(reinterpret_cast<const char*>(mData) - size, static_cast<size_t>(size));
    }
    ExtendableType extendable()
    {
        ExtendableType type;
        type.name = string();
        type.value = integer();
        return type;
    }
    // A count of records of at least minSize bytes each, bounded by the input.
    size_t count(size_t minSize)
    {
        const int64_t n = integer();
        if (n < 0 || static_cast<uint64_t>(n) > mLeft / minSize) {
            mFailed = true;
            return 0;
        }
        return static_cast<size_t>(n);
    }
    bool ok() const { return !mFailed; }
    bool done() const { return !mFailed && mLeft == 0; }

private:
    bool take(size_t size)
    {
        if (mFailed || size > mLeft) {
            mFailed = true;
            return false;
        }
        mData += size;
        mLeft -= size;
        return true;
    }

    const uint8_t* mData;
    size_t mLeft;
    bool mFailed = false;
};

constexpr size_t kComponentMin = 4 * sizeof(int64_t); // empty name, value, offset, size
constexpr size_t kPlaneMin = 9 * sizeof(int64_t);     // no components, eight integers

} // namespace

status_t encodePlaneLayouts(const std::vector<PlaneLayout>& planeLayouts,
                            hidl_vec<uint8_t>* outPlaneLayouts)
{
    if (outPlaneLayouts == nullptr)
        return BAD_VALUE;
    Writer w;
    w.string(MetadataType_PlaneLayouts.name);
    w.integer(MetadataType_PlaneLayouts.value);
    w.integer(static_cast<int64_t>(planeLayouts.size()));
    for (const PlaneLayout& plane : planeLayouts) {
        w.integer(static_cast<int64_t>(plane.components.size()));
        for (const PlaneLayoutComponent& component : plane.components) {
            w.extendable(component.type);
            w.integer(component.offsetInBits);
            w.integer(component.sizeInBits);
        }
        for (int64_t value : {plane.offsetInBytes, plane.sampleIncrementInBits, plane.strideInBytes,
                              plane.widthInSamples, plane.heightInSamples, plane.totalSizeInBytes,
                              plane.horizontalSubsampling, plane.verticalSubsampling})
            w.integer(value);
    }
    *outPlaneLayouts = hidl_vec<uint8_t>(w.out);
    return NO_ERROR;
}

status_t decodePlaneLayouts(const hidl_vec<uint8_t>& planeLayouts,
                            std::vector<PlaneLayout>* outPlaneLayouts)
{
    if (outPlaneLayouts == nullptr)
        return BAD_VALUE;
    Reader r(planeLayouts);
    const std::string name = r.string();
    const int64_t value = r.integer();
    if (!r.ok() || name != MetadataType_PlaneLayouts.name.c_str() ||
        value != MetadataType_PlaneLayouts.value)
        return BAD_VALUE;
    std::vector<PlaneLayout> planes(r.count(kPlaneMin));
    for (PlaneLayout& plane : planes) {
        plane.components.resize(r.count(kComponentMin));
        for (PlaneLayoutComponent& component : plane.components) {
            component.type = r.extendable();
            component.offsetInBits = r.integer();
            component.sizeInBits = r.integer();
        }
        for (int64_t* field : {&plane.offsetInBytes, &plane.sampleIncrementInBits, &plane.strideInBytes,
                               &plane.widthInSamples, &plane.heightInSamples, &plane.totalSizeInBytes,
                               &plane.horizontalSubsampling, &plane.verticalSubsampling})
            *field = r.integer();
    }
    if (!r.done())
        return BAD_VALUE;
    *outPlaneLayouts = std::move(planes);
    return NO_ERROR;
}

} // namespace gralloc4
} // namespace android
