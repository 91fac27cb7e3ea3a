/*
 * Host only: stands in for the service manager and the passthrough loader
 * behind IFoo::getService(). Not part of the device's libhidlbase.
 *
 * A service is registered under its interface descriptor and an instance
 * name, either as a passthrough (in-process) implementation or as remote:
 * getService() then hands out a proxy whose isRemote() answers true and
 * which forwards every call to the registered object.
 *
 * At load, the host libraries install their default services (the mapper
 * library a passthrough software mapper as "default", of the version that
 * <ui/HostGralloc.h> offers; a default whose factory makes nothing is absent). Tests may clear
 * the registry, register their own services, and reset it to the defaults.
 * Every function is thread-safe.
 */
#pragma once

#include <functional>
#include <optional>
#include <string>

#include <android/hidl/base/1.0/IBase.h>

namespace android {
namespace hardware {
namespace host {

enum class Transport {
    PASSTHROUGH,
    REMOTE,
};

struct ServiceEntry {
    ::android::sp<::android::hidl::base::V1_0::IBase> service;
    Transport transport = Transport::PASSTHROUGH;
};

class HostServiceRegistry {
public:
    using Factory = std::function<::android::sp<::android::hidl::base::V1_0::IBase>()>;

    // Registers service as descriptor/instance, replacing an earlier one.
    static void add(const std::string& descriptor, const std::string& instance,
                    const ::android::sp<::android::hidl::base::V1_0::IBase>& service,
                    Transport transport = Transport::PASSTHROUGH);

    template <typename Interface>
    static void add(const ::android::sp<Interface>& service,
                    const std::string& instance = "default",
                    Transport transport = Transport::PASSTHROUGH)
    {
        add(Interface::descriptor, instance, service, transport);
    }

    static void remove(const std::string& descriptor, const std::string& instance);

    // Forgets every service, defaults included.
    static void clear();

    // Back to the state after load: only the default services, made afresh.
    static void reset();

    static std::optional<ServiceEntry> find(const std::string& descriptor,
                                            const std::string& instance);

    // For host libraries, at load: registers factory's service now and on
    // every reset().
    static void addDefault(const std::string& descriptor, const std::string& instance,
                           Factory factory, Transport transport = Transport::PASSTHROUGH);
};

} // namespace host
} // namespace hardware
} // namespace android
