#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <tamo/Metadata.h>
#include <tamo/VendorTag.h>

namespace tamo::tool {

// Every vendor tag; the first call also lets the metadata library name and
// type them.
std::vector<AppVendorTagSection> registerVendorTags();

struct CameraCharacteristics {
    std::shared_ptr<Metadata> metadata;
    // False when the framework's cache did not take the camera and metadata
    // is the platform's static metadata as it is, without the framework's
    // tags (a warning says so).
    bool completed = false;
};

// The camera's characteristics with the framework's tags in them, or else
// the platform's; no metadata, with a reason, for a camera the platform
// does not have.
CameraCharacteristics cameraCharacteristics(uint32_t cameraId, std::string& error);

} // namespace tamo::tool
