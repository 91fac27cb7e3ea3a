/*
 * What of a complete camera the framework's characteristics cache can take
 * (800 data bytes; a complete camera has several times that): the entries
 * whose values fit inside the entry, with the active array size and the
 * physical ids, which the converter and the logical cameras need.
 */
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include <system/camera_metadata.h>
#include <tamo_platform/HostPlatform.h>

namespace testsupport {

// Null when the metadata library refuses an entry.
inline std::shared_ptr<camera_metadata> cacheSized(const camera_metadata* camera)
{
    std::vector<camera_metadata_ro_entry_t> kept;
    size_t data = 0;
    camera_metadata_ro_entry_t e{};
    for (size_t i = 0; get_camera_metadata_ro_entry(camera, i, &e) == 0; i++) {
        const size_t bytes = calculate_camera_metadata_entry_data_size(e.type, e.count);
        if (bytes == 0 || e.tag == ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE ||
            e.tag == ANDROID_LOGICAL_MULTI_CAMERA_PHYSICAL_IDS)
            kept.push_back(e), data += bytes;
    }
    std::shared_ptr<camera_metadata> small(allocate_camera_metadata(kept.size(), data), free_camera_metadata);
    for (const auto& k : kept) {
        if (add_camera_metadata_entry(small.get(), k.tag, k.data.u8, k.count) != 0)
            return nullptr;
    }
    return small;
}

// The host platform, its cameras as much of them as the cache takes.
class CacheSizedEnviron : public tamo::platform::IPlatformEnviron {
public:
    // Unsized, the host's cameras as they are until cacheSizedHost().
    explicit CacheSizedEnviron(bool sized = true)
    {
        if (sized)
            cacheSizedHost();
    }
    void cacheSizedHost()
    {
        for (uint32_t id = 0; id < tamo::platform::host::kHostCameraCount; id++)
            own[id] = cacheSized(host->getStaticMetadata(id));
    }
    void appendVendorTagSections(std::vector<tamo::AppVendorTagSection>& sections) override
    {
        host->appendVendorTagSections(sections);
    }
    const camera_metadata* getStaticMetadata(uint32_t id) override
    {
        const auto mine = own.find(id);
        return mine != own.end() ? mine->second.get() : host->getStaticMetadata(id);
    }

    std::shared_ptr<tamo::platform::IPlatformEnviron> host = tamo::platform::host::createHostEnviron();
    std::map<uint32_t, std::shared_ptr<camera_metadata>> own;
};

} // namespace testsupport
