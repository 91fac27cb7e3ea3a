/*
 * The process's platform instances. The defaults are made on first use; a
 * test may put its own in place, or none, and go back to the defaults.
 */
#include <tamo_platform/HostPlatform.h>

#include <mutex>

namespace tamo::platform {

namespace {

struct Instances {
    std::mutex lock;
    bool environSet = false;
    std::shared_ptr<IPlatformEnviron> environment;
    bool descriptorSet = false;
    std::shared_ptr<IPlatformTagDescriptor> descriptor;
};

Instances& instances()
{
    static Instances state;
    return state;
}

} // namespace

std::shared_ptr<IPlatformEnviron> IPlatformEnviron::getInstance()
{
    Instances& state = instances();
    std::lock_guard<std::mutex> guard(state.lock);
    if (!state.environSet) {
        state.environment = host::createHostEnviron();
        state.environSet = true;
    }
    return state.environment;
}

std::shared_ptr<IPlatformTagDescriptor> IPlatformTagDescriptor::getInstance()
{
    Instances& state = instances();
    std::lock_guard<std::mutex> guard(state.lock);
    if (!state.descriptorSet) {
        state.descriptor = host::createHostTagDescriptor();
        state.descriptorSet = true;
    }
    return state.descriptor;
}

namespace host {

void installEnviron(std::shared_ptr<IPlatformEnviron> environment)
{
    Instances& state = instances();
    std::shared_ptr<IPlatformEnviron> previous;
    std::lock_guard<std::mutex> guard(state.lock);
    previous.swap(state.environment);
    state.environment = std::move(environment);
    state.environSet = true;
}

void installTagDescriptor(std::shared_ptr<IPlatformTagDescriptor> descriptor)
{
    Instances& state = instances();
    std::shared_ptr<IPlatformTagDescriptor> previous;
    std::lock_guard<std::mutex> guard(state.lock);
    previous.swap(state.descriptor);
    state.descriptor = std::move(descriptor);
    state.descriptorSet = true;
}

void resetPlatform()
{
    Instances& state = instances();
    std::shared_ptr<IPlatformEnviron> environment;
    std::shared_ptr<IPlatformTagDescriptor> descriptor;
    std::lock_guard<std::mutex> guard(state.lock);
    environment.swap(state.environment);
    descriptor.swap(state.descriptor);
    state.environSet = false;
    state.descriptorSet = false;
}

} // namespace host

} // namespace tamo::platform
