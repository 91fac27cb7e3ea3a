#include "Camera.h"

#include <fmt/core.h>
#include <tamo_platform/IPlatformEnviron.h>

#include "VendorTagNames.h"

namespace tamo::tool {

std::vector<AppVendorTagSection> registerVendorTags()
{
    std::vector<AppVendorTagSection> sections;
    VendorTagUtils::getAllVendorTags(sections);
    return sections;
}

std::vector<std::pair<std::string, uint32_t>> vendorTagNames()
{
    std::vector<std::pair<std::string, uint32_t>> names;
    for (const AppVendorTagSection& section : registerVendorTags()) {
        for (const AppVendorTag& tag : section.tags)
            names.emplace_back(section.sectionName + "." + tag.tagName, tag.tagId);
    }
    return names;
}

const vendor_tag_ops_t* vendorTagOps()
{
    static const vendor_tag_ops_t ops = [] {
        vendor_tag_ops_t o{};
        o.get_tag_count = VendorTagDescriptorUtils::tamo_get_tag_count;
        o.get_all_tags = VendorTagDescriptorUtils::tamo_get_all_tags;
        o.get_section_name = VendorTagDescriptorUtils::tamo_get_section_name;
        o.get_tag_name = VendorTagDescriptorUtils::tamo_get_tag_name;
        o.get_tag_type = VendorTagDescriptorUtils::tamo_get_tag_type;
        return o;
    }();
    return &ops;
}

CameraCharacteristics cameraCharacteristics(uint32_t cameraId, std::string& error)
{
    // Asked first, so that a wrong id is one line rather than a library error.
    auto environment = platform::IPlatformEnviron::getInstance();
    const camera_metadata* platformMeta = environment != nullptr ? environment->getStaticMetadata(cameraId) : nullptr;
    if (platformMeta == nullptr) {
        error = "the platform has no camera " + std::to_string(cameraId);
        return {};
    }
    // Without the vendor tags registered the framework's tags cannot be added.
    registerVendorTags();
    if (auto characteristics = StaticMetadataUtils::getCameraCharacteristics(cameraId))
        return {characteristics, true};

    // The cache keeps a fixed 800 bytes of data for a camera; a complete
    // camera has several times that, and is refused (the library says so).
    auto copy = Metadata::create();
    if (copy == nullptr || !copy->init(platformMeta)) {
        error = "no characteristics for camera " + std::to_string(cameraId);
        return {};
    }
    fmt::print(stderr,
               "tamo: warning: camera {}: the framework's characteristics cache does not take its {} data "
               "bytes; the platform's static metadata is used, without the framework's tags\n",
               cameraId, get_camera_metadata_data_count(platformMeta));
    return {copy, false};
}

} // namespace tamo::tool
