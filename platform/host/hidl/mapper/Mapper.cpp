/*
 * Host android.hardware.graphics.mapper@2.0, @3.0 and @4.0: getService()
 * answers from the host service registry, and a passthrough mapper 4.0
 * over libui's gralloc implementation is installed as "default" when the
 * library loads.
 */
#include <android/hardware/graphics/mapper/2.0/IMapper.h>
#include <android/hardware/graphics/mapper/3.0/IMapper.h>
#include <android/hardware/graphics/mapper/4.0/IMapper.h>
#include <hidl/HostServiceRegistry.h>
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

private:
    sp<IMapper> mImpl;
};

template <typename IMapper>
sp<IMapper> castTo(const sp<IBase>& parent)
{
    return sp<IMapper>(dynamic_cast<IMapper*>(parent.get()));
}

template <typename IMapper, typename Error>
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
    return sp<IMapper>(new RemoteMapper<IMapper, Error>(impl));
}

// The in-process mapper: libui's gralloc implementation, so that a handle
// imported here locks through GraphicBufferMapper and a handle allocated
// there is freed here.
class SoftwareMapper : public V4_0::IMapper {
public:
    Return<void> importBuffer(const hidl_handle& rawHandle, importBuffer_cb cb) override
    {
        buffer_handle_t imported = nullptr;
        status_t status = HostGralloc::importBuffer(rawHandle.getNativeHandle(), &imported);
        if (status != NO_ERROR)
            cb(status == NO_MEMORY ? V4_0::Error::NO_RESOURCES : V4_0::Error::BAD_BUFFER, nullptr);
        else
            cb(V4_0::Error::NONE, const_cast<native_handle_t*>(imported));
        return Void();
    }

    Return<V4_0::Error> freeBuffer(void* buffer) override
    {
        return HostGralloc::freeBuffer(static_cast<buffer_handle_t>(buffer)) == NO_ERROR
                       ? V4_0::Error::NONE
                       : V4_0::Error::BAD_BUFFER;
    }
};

[[maybe_unused]] const bool kSoftwareMapperInstalled = [] {
    HostServiceRegistry::addDefault(V4_0::IMapper::descriptor, "default",
                                    [] { return sp<IBase>(new SoftwareMapper()); });
    return true;
}();

} // namespace

#define HOST_MAPPER_VERSION(ns, version)                                                  \
    const char* ns::IMapper::descriptor = "android.hardware.graphics.mapper@" version     \
                                          "::IMapper";                                    \
    Return<sp<ns::IMapper>> ns::IMapper::castFrom(const sp<IBase>& parent, bool)          \
    {                                                                                     \
        return castTo<ns::IMapper>(parent);                                               \
    }                                                                                     \
    sp<ns::IMapper> ns::IMapper::getService(const std::string& serviceName, bool getStub) \
    {                                                                                     \
        return serviceFromRegistry<ns::IMapper, ns::Error>(serviceName, getStub);         \
    }

HOST_MAPPER_VERSION(V2_0, "2.0")
HOST_MAPPER_VERSION(V3_0, "3.0")
HOST_MAPPER_VERSION(V4_0, "4.0")

} // namespace mapper
} // namespace graphics
} // namespace hardware
} // namespace android
