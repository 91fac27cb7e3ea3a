/*
 * The vendor tags the JSON importer and the tag lookups may name. The tool
 * gives the framework's and the platform's; the build step that makes the
 * host platform's cameras, which comes before the framework exists, gives
 * none.
 */
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <system/camera_vendor_tags.h>

namespace tamo::tool {

// Full names ("section.tag") and numbers; the first call also lets the
// metadata library name and type them.
std::vector<std::pair<std::string, uint32_t>> vendorTagNames();

// The callbacks that answer for those tags; null when there are none.
const vendor_tag_ops_t* vendorTagOps();

} // namespace tamo::tool
