#include <hidl/HostServiceRegistry.h>

#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace android {

namespace hidl::base::V1_0 {
const char* IBase::descriptor = "android.hidl.base@1.0::IBase";
} // namespace hidl::base::V1_0

namespace hardware {
namespace host {

namespace {

using Key = std::pair<std::string, std::string>;

struct DefaultService {
    Key key;
    HostServiceRegistry::Factory factory;
    Transport transport;
};

struct Registry {
    std::mutex lock;
    std::map<Key, ServiceEntry> services;
    std::vector<DefaultService> defaults;
};

Registry& registry()
{
    static Registry instance;
    return instance;
}

} // namespace

void HostServiceRegistry::add(const std::string& descriptor, const std::string& instance,
                              const sp<hidl::base::V1_0::IBase>& service, Transport transport)
{
    Registry& r = registry();
    std::lock_guard<std::mutex> guard(r.lock);
    r.services[{descriptor, instance}] = ServiceEntry{service, transport};
}

void HostServiceRegistry::remove(const std::string& descriptor, const std::string& instance)
{
    Registry& r = registry();
    std::lock_guard<std::mutex> guard(r.lock);
    r.services.erase({descriptor, instance});
}

void HostServiceRegistry::clear()
{
    std::map<Key, ServiceEntry> dropped;
    Registry& r = registry();
    {
        std::lock_guard<std::mutex> guard(r.lock);
        dropped.swap(r.services);
    }
}

void HostServiceRegistry::reset()
{
    std::map<Key, ServiceEntry> fresh;
    std::vector<DefaultService> defaults;
    Registry& r = registry();
    {
        std::lock_guard<std::mutex> guard(r.lock);
        defaults = r.defaults;
    }
    // Factories run unlocked: a service's constructor may use the registry.
    for (const auto& d : defaults)
        fresh[d.key] = ServiceEntry{d.factory(), d.transport};
    std::lock_guard<std::mutex> guard(r.lock);
    fresh.swap(r.services);
}

std::optional<ServiceEntry> HostServiceRegistry::find(const std::string& descriptor,
                                                      const std::string& instance)
{
    Registry& r = registry();
    std::lock_guard<std::mutex> guard(r.lock);
    auto it = r.services.find({descriptor, instance});
    if (it == r.services.end() || it->second.service == nullptr)
        return std::nullopt;
    return it->second;
}

void HostServiceRegistry::addDefault(const std::string& descriptor, const std::string& instance,
                                     Factory factory, Transport transport)
{
    sp<hidl::base::V1_0::IBase> service = factory();
    Registry& r = registry();
    std::lock_guard<std::mutex> guard(r.lock);
    r.defaults.push_back(DefaultService{{descriptor, instance}, std::move(factory), transport});
    r.services[{descriptor, instance}] = ServiceEntry{service, transport};
}

} // namespace host
} // namespace hardware
} // namespace android
