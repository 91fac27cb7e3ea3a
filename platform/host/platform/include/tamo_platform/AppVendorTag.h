/*
 * Vendor tag records of the platform layer: a section and its tags, as the
 * platform and the framework exchange them.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tamo::platform {

struct AppVendorTag {
    uint32_t tagId;      // full tag number, section bits included
    std::string tagName; // without the section prefix
    uint32_t tagType;    // camera metadata type code (TYPE_BYTE...)
};

struct AppVendorTagSection {
    std::string sectionName;
    std::vector<AppVendorTag> tags; // in tag-number order
};

} // namespace tamo::platform
