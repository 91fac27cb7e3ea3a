/*
 * Host android.hardware.graphics.mapper@2.0, @3.0 and @4.0: getService()
 * answers from the host service registry, and a passthrough mapper over
 * libui's gralloc implementation, of the version the host offers
 * (<ui/HostGralloc.h>), is installed as "default" when the library loads.
 */
#include <android/hardware/graphics/mapper/2.0/IMapper.h>
#include <android/hardware/graphics/mapper/3.0/IMapper.h>
#include <android/hardware/graphics/mapper/4.0/IMapper.h>
#include <hidl/HostServiceRegistry.h>
#include <gralloctypes/Gralloc4.h>
#include <system/graphics.h>
#include <ui/HostGralloc.h>

namespace android {
namespace hardware {
namespace graphics {
namespace mapper {

using ::android::hidl::base::V1_0::IBase;
using ::android::host::HostGralloc;
using host::HostServiceRegistry;
using host::Transport;

namespace {

// What a binderised service looks like from the client side: same calls,
// but isRemote() is true.
template <typename IMapper, typename Error>
class RemoteMapper : public IMapper {
public:
    explicit RemoteMapper(sp<IMapper> impl) : mImpl(std::move(impl)) {}

    bool isRemote() const override { return true; }

    Return<void> importBuffer(const hidl_handle& rawHandle,
                              typename IMapper::importBuffer_cb cb) override
    {
        return mImpl->importBuffer(rawHandle, cb);
    }

    Return<Error> freeBuffer(void* buffer) override { return mImpl->freeBuffer(buffer); }

    // A remote mapper hands out no pointers this process could use.
    template <typename Usage, typename Callback>
    Return<void> lock(void*, Usage, const typename IMapper::Rect&, const hidl_handle&, Callback)
    {
        return Status::fromExceptionCode(Status::EX_UNSUPPORTED_OPERATION);
    }

    Return<void> unlock(void* buffer, typename IMapper::unlock_cb cb) override
    {
        return mImpl->unlock(buffer, cb);
    }

protected:
    sp<IMapper> mImpl;
};

class RemoteMapper2 : public RemoteMapper<V2_0::IMapper, V2_0::Error> {
public:
    using RemoteMapper::RemoteMapper;
    using Usage = hidl_bitfield<common::V1_0::BufferUsage>;
    Return<void> lock(void* b, Usage u, const Rect& r, const hidl_handle& f, lock_cb cb) override
    {
        return RemoteMapper::lock(b, u, r, f, cb);
    }
    Return<void> lockYCbCr(void* b, Usage u, const Rect& r, const hidl_handle& f,
                           lockYCbCr_cb cb) override
    {
        return RemoteMapper::lock(b, u, r, f, cb);
    }
};

class RemoteMapper3 : public RemoteMapper<V3_0::IMapper, V3_0::Error> {
public:
    using RemoteMapper::RemoteMapper;
    Return<void> lock(void* b, uint64_t u, const Rect& r, const hidl_handle& f, lock_cb cb) override
    {
        return RemoteMapper::lock(b, u, r, f, cb);
    }
    Return<void> lockYCbCr(void* b, uint64_t u, const Rect& r, const hidl_handle& f,
                           lockYCbCr_cb cb) override
    {
        return RemoteMapper::lock(b, u, r, f, cb);
    }
};

class RemoteMapper4 : public RemoteMapper<V4_0::IMapper, V4_0::Error> {
public:
    using RemoteMapper::RemoteMapper;
    Return<void> lock(void* b, uint64_t u, const Rect& r, const hidl_handle& f, lock_cb cb) override
    {
        return RemoteMapper::lock(b, u, r, f, cb);
    }
    Return<void> get(void* buffer, const MetadataType& type, get_cb cb) override
    {
        return mImpl->get(buffer, type, cb);
    }
};

template <typename IMapper>
sp<IMapper> castTo(const sp<IBase>& parent)
{
    return sp<IMapper>(dynamic_cast<IMapper*>(parent.get()));
}

template <typename IMapper, typename Remote>
sp<IMapper> serviceFromRegistry(const std::string& serviceName, bool getStub)
{
    auto entry = HostServiceRegistry::find(IMapper::descriptor, serviceName);
    if (!entry)
        return nullptr;
    sp<IMapper> impl = castTo<IMapper>(entry->service);
    if (impl == nullptr || entry->transport == Transport::PASSTHROUGH)
        return impl;
    // A stub is only ever the in-process implementation.
    if (getStub)
        return nullptr;
    return sp<IMapper>(new Remote(impl));
}

template <typename Error>
Error errorOf(status_t status)
{
    switch (status) {
    case NO_ERROR:
        return Error::NONE;
    case NO_MEMORY:
        return Error::NO_RESOURCES;
    default:
        return Error::BAD_BUFFER;
    }
}

// A mapper's region as libui's Rect; an empty region is the whole buffer
// on the platform's mappers too, but callers name it, so it is kept as given.
template <typename MapperRect>
Rect boundsOf(const MapperRect& r)
{
    return Rect(r.left, r.top, r.left + r.width, r.top + r.height);
}

using aidl::android::hardware::graphics::common::ExtendableType;
using aidl::android::hardware::graphics::common::PlaneLayout;

// The host gralloc's planes (<ui/HostGralloc.h>) as 4.0 plane layouts.
std::vector<PlaneLayout> planeLayoutsOf(const HostGralloc::CpuAccess& a)
{
    using Component = std::pair<ExtendableType, int64_t>; // type, offset in bits
    auto plane = [](int64_t offset, int64_t bits, int64_t stride, int64_t w, int64_t h,
                      int64_t subsampleX, int64_t subsampleY, std::vector<Component> parts,
                      int64_t componentBits) {
        PlaneLayout p;
        for (auto& [type, at] : parts)
            p.components.push_back({type, at, componentBits});
        p.offsetInBytes = offset;
        p.sampleIncrementInBits = bits;
        p.strideInBytes = stride;
        p.widthInSamples = w;
        p.heightInSamples = h;
        p.totalSizeInBytes = stride * h;
        p.horizontalSubsampling = subsampleX;
        p.verticalSubsampling = subsampleY;
        return p;
    };
    const int64_t w = a.width, h = a.height, stride = a.stride;
    const int64_t cw = (w + 1) / 2, ch = (h + 1) / 2;
    const int64_t cb = a.cb - a.base, cr = a.cr - a.base, cstride = a.chromaStride;
    using namespace gralloc4;
    switch (a.format) {
    case HAL_PIXEL_FORMAT_YCBCR_422_SP:
    case HAL_PIXEL_FORMAT_YCRCB_420_SP:
    case HAL_PIXEL_FORMAT_YCBCR_420_888: {
        const int64_t rows = a.format == HAL_PIXEL_FORMAT_YCBCR_422_SP ? h : ch;
        const int64_t first = std::min(cb, cr);
        return {plane(0, 8, stride, w, h, 1, 1, {{PlaneLayoutComponentType_Y, 0}}, 8),
                plane(first, 16, cstride, cw, rows, 2, rows == h ? 1 : 2,
                      {{PlaneLayoutComponentType_CB, 8 * (cb - first)},
                       {PlaneLayoutComponentType_CR, 8 * (cr - first)}}, 8)};
    }
    case HAL_PIXEL_FORMAT_YV12:
        return {plane(0, 8, stride, w, h, 1, 1, {{PlaneLayoutComponentType_Y, 0}}, 8),
                plane(cr, 8, cstride, cw, ch, 2, 2, {{PlaneLayoutComponentType_CR, 0}}, 8),
                plane(cb, 8, cstride, cw, ch, 2, 2, {{PlaneLayoutComponentType_CB, 0}}, 8)};
    case HAL_PIXEL_FORMAT_YCBCR_422_I:
        return {plane(0, 16, stride, w, h, 1, 1,
                      {{PlaneLayoutComponentType_Y, 0}, {PlaneLayoutComponentType_CB, 8},
                       {PlaneLayoutComponentType_CR, 24}}, 8)};
    case HAL_PIXEL_FORMAT_Y8:
    case HAL_PIXEL_FORMAT_Y16:
        return {plane(0, a.bitsPerSample, stride, w, h, 1, 1, {{PlaneLayoutComponentType_Y, 0}},
                      a.bitsPerSample)};
    default: // RAW10, RAW12, RAW16 and BLOB: samples the gralloc does not interpret
        return {plane(0, a.bitsPerSample, stride, w, h, 1, 1, {{PlaneLayoutComponentType_RAW, 0}},
                      a.bitsPerSample)};
    }
}

// The in-process mapper of one version: libui's gralloc implementation, so
// that a handle imported here locks through GraphicBufferMapper and a handle
// allocated there is freed here.
template <typename IMapper, typename Error>
class SoftwareMapperBase : public IMapper {
public:
    Return<void> importBuffer(const hidl_handle& rawHandle,
                              typename IMapper::importBuffer_cb cb) override
    {
        buffer_handle_t imported = nullptr;
        status_t status = HostGralloc::importBuffer(rawHandle.getNativeHandle(), &imported);
        if (status != NO_ERROR)
            cb(status == NO_MEMORY ? Error::NO_RESOURCES : Error::BAD_BUFFER, nullptr);
        else
            cb(Error::NONE, const_cast<native_handle_t*>(imported));
        return Void();
    }

    Return<Error> freeBuffer(void* buffer) override
    {
        return HostGralloc::freeBuffer(static_cast<buffer_handle_t>(buffer)) == NO_ERROR
                       ? Error::NONE
                       : Error::BAD_BUFFER;
    }

    Return<void> unlock(void* buffer, typename IMapper::unlock_cb cb) override
    {
        status_t status = HostGralloc::unlock(static_cast<buffer_handle_t>(buffer));
        cb(status == NO_ERROR ? Error::NONE : Error::BAD_BUFFER, hidl_handle());
        return Void();
    }

protected:
    // BAD_VALUE for what the gralloc refuses; a buffer it does not know is
    // BAD_BUFFER, as on the platform's mappers.
    static Error lockBuffer(void* buffer, uint64_t usage, const typename IMapper::Rect& region,
                            bool ycbcr, HostGralloc::CpuAccess* access)
    {
        if (buffer == nullptr)
            return Error::BAD_BUFFER;
        status_t status = HostGralloc::lock(static_cast<buffer_handle_t>(buffer), usage,
                                            boundsOf(region), ycbcr, access);
        return status == NO_ERROR ? Error::NONE : Error::BAD_VALUE;
    }

    // lock() of 2.0 and 4.0: the data only.
    static Return<void> lockData(void* buffer, uint64_t usage, const typename IMapper::Rect& region,
                                 const std::function<void(Error, void*)>& cb)
    {
        HostGralloc::CpuAccess a;
        Error error = lockBuffer(buffer, usage, region, false, &a);
        cb(error, error == Error::NONE ? a.base : nullptr);
        return Void();
    }

    // lockYCbCr() of 2.0 and 3.0, whose layouts are alike.
    template <typename Layout>
    static Return<void> lockLayout(void* buffer, uint64_t usage, const typename IMapper::Rect& region,
                                   const std::function<void(Error, const Layout&)>& cb)
    {
        HostGralloc::CpuAccess a;
        Error error = lockBuffer(buffer, usage, region, true, &a);
        cb(error, error == Error::NONE
                          ? Layout{a.base, a.cb, a.cr, a.stride, a.chromaStride, a.chromaStep}
                          : Layout{});
        return Void();
    }
};

class SoftwareMapper2 : public SoftwareMapperBase<V2_0::IMapper, V2_0::Error> {
public:
    using Usage = hidl_bitfield<common::V1_0::BufferUsage>;

    // 2.0 reports no stride: callers ask lockYCbCr or know the layout.
    Return<void> lock(void* buffer, Usage usage, const Rect& region, const hidl_handle&,
                      lock_cb cb) override
    {
        return lockData(buffer, usage, region, cb);
    }

    Return<void> lockYCbCr(void* buffer, Usage usage, const Rect& region, const hidl_handle&,
                           lockYCbCr_cb cb) override
    {
        return lockLayout<V2_0::YCbCrLayout>(buffer, usage, region, cb);
    }
};

class SoftwareMapper3 : public SoftwareMapperBase<V3_0::IMapper, V3_0::Error> {
public:
    Return<void> lock(void* buffer, uint64_t usage, const Rect& region, const hidl_handle&,
                      lock_cb cb) override
    {
        HostGralloc::CpuAccess a;
        V3_0::Error error = lockBuffer(buffer, usage, region, false, &a);
        if (error != V3_0::Error::NONE) {
            cb(error, nullptr, -1, -1);
            return Void();
        }
        cb(error, a.base, a.bytesPerPixel(), static_cast<int32_t>(a.stride));
        return Void();
    }

    Return<void> lockYCbCr(void* buffer, uint64_t usage, const Rect& region, const hidl_handle&,
                           lockYCbCr_cb cb) override
    {
        return lockLayout<V3_0::YCbCrLayout>(buffer, usage, region, cb);
    }
};

class SoftwareMapper4 : public SoftwareMapperBase<V4_0::IMapper, V4_0::Error> {
public:
    Return<void> lock(void* buffer, uint64_t usage, const Rect& region, const hidl_handle&,
                      lock_cb cb) override
    {
        return lockData(buffer, usage, region, cb);
    }

    // The plane layouts only: what a CPU reader needs.
    Return<void> get(void* buffer, const MetadataType& type, get_cb cb) override
    {
        if (type.name != gralloc4::MetadataType_PlaneLayouts.name ||
            type.value != gralloc4::MetadataType_PlaneLayouts.value) {
            cb(V4_0::Error::UNSUPPORTED, hidl_vec<uint8_t>());
            return Void();
        }
        HostGralloc::CpuAccess a;
        if (HostGralloc::describe(static_cast<buffer_handle_t>(buffer), &a) != NO_ERROR) {
            cb(V4_0::Error::BAD_BUFFER, hidl_vec<uint8_t>());
            return Void();
        }
        hidl_vec<uint8_t> encoded;
        gralloc4::encodePlaneLayouts(planeLayoutsOf(a), &encoded);
        cb(V4_0::Error::NONE, encoded);
        return Void();
    }
};

template <typename IMapper, typename Mapper, int version>
void offerDefault()
{
    HostServiceRegistry::addDefault(IMapper::descriptor, "default", []() -> sp<IBase> {
        return HostGralloc::mapperVersion() == version ? sp<IBase>(new Mapper()) : nullptr;
    });
}

[[maybe_unused]] const bool kSoftwareMappersInstalled = [] {
    offerDefault<V4_0::IMapper, SoftwareMapper4, 4>();
    offerDefault<V3_0::IMapper, SoftwareMapper3, 3>();
    offerDefault<V2_0::IMapper, SoftwareMapper2, 2>();
    return true;
}();

} // namespace

#define HOST_MAPPER_VERSION(ns, version, Remote)                                          \
    const char* ns::IMapper::descriptor = "android.hardware.graphics.mapper@" version     \
                                          "::IMapper";                                    \
    Return<sp<ns::IMapper>> ns::IMapper::castFrom(const sp<IBase>& parent, bool)          \
    {                                                                                     \
        return castTo<ns::IMapper>(parent);                                               \
    }                                                                                     \
    sp<ns::IMapper> ns::IMapper::getService(const std::string& serviceName, bool getStub) \
    {                                                                                     \
        return serviceFromRegistry<ns::IMapper, Remote>(serviceName, getStub);            \
    }

HOST_MAPPER_VERSION(V2_0, "2.0", RemoteMapper2)
HOST_MAPPER_VERSION(V3_0, "3.0", RemoteMapper3)
HOST_MAPPER_VERSION(V4_0, "4.0", RemoteMapper4)

} // namespace mapper
} // namespace graphics
} // namespace hardware
} // namespace android
