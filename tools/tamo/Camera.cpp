#include "Camera.h"

#include <tamo_platform/IPlatformEnviron.h>

namespace tamo::tool {

std::vector<AppVendorTagSection> registerVendorTags()
{
    std::vector<AppVendorTagSection> sections;
    VendorTagUtils::getAllVendorTags(sections);
    return sections;
}

std::shared_ptr<Metadata> cameraCharacteristics(uint32_t cameraId, std::string& error)
{
    // Asked first, so that a wrong id is one line rather than a library error.
    auto environment = platform::IPlatformEnviron::getInstance();
    if (environment == nullptr || environment->getStaticMetadata(cameraId) == nullptr) {
        error = "the platform has no camera " + std::to_string(cameraId);
        return nullptr;
    }
    // Without the vendor tags registered the framework's tags cannot be added.
    registerVendorTags();
    auto characteristics = StaticMetadataUtils::getCameraCharacteristics(cameraId);
    if (characteristics == nullptr)
        error = "no characteristics for camera " + std::to_string(cameraId);
    return characteristics;
}

} // namespace tamo::tool
