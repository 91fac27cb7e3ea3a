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

// The camera's characteristics with the framework's tags in them; empty,
// with a reason, for a camera the platform does not have.
std::shared_ptr<Metadata> cameraCharacteristics(uint32_t cameraId, std::string& error);

} // namespace tamo::tool
