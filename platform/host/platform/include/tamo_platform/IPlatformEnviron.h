/*
 * The platform layer's environment: what the device's camera stack knows
 * about its vendor tags and its cameras.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <tamo_platform/AppVendorTag.h>

struct camera_metadata;

namespace tamo::platform {

class IPlatformEnviron {
public:
    // The process's environment; empty when the platform offers none.
    static std::shared_ptr<IPlatformEnviron> getInstance();

    virtual ~IPlatformEnviron() = default;

    // Appends the platform's own vendor tag sections; what the vector
    // already holds is kept.
    virtual void appendVendorTagSections(std::vector<AppVendorTagSection>& sections) = 0;

    // The static metadata of a camera, owned by the platform and valid for
    // the life of the environment; null for a camera it does not have.
    virtual const camera_metadata* getStaticMetadata(uint32_t cameraId) = 0;
};

} // namespace tamo::platform
