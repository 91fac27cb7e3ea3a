#pragma once

#include <hidl/HostServiceRegistry.h>
#include <ui/HostGralloc.h>

namespace testsupport {

// The host offers mapper `version` (its registry and libui) while in scope.
class HostMapperVersion {
public:
    explicit HostMapperVersion(int version) : mBefore(android::host::HostGralloc::mapperVersion())
    {
        offer(version);
    }
    ~HostMapperVersion() { offer(mBefore); }
    HostMapperVersion(const HostMapperVersion&) = delete;
    HostMapperVersion& operator=(const HostMapperVersion&) = delete;

private:
    static void offer(int version)
    {
        android::host::HostGralloc::setMapperVersion(version);
        android::hardware::host::HostServiceRegistry::reset();
    }

    int mBefore;
};

} // namespace testsupport
