/*
 * Default environment: the stand-in platform's vendor tags and the static
 * metadata of a device with five physical cameras (rear main, front, rear
 * ultra-wide, rear depth-assist, rear tele) and four logical multi-cameras
 * built from them. The cameras are described in cameras/cameraN.json, in
 * the emulated camera HAL's form, and compiled in as packets; each is
 * checked, copied and sorted once, and freed with the environment.
 */
#include <tamo_platform/HostPlatform.h>

#include <array>
#include <cstdio>

#include <system/camera_metadata.h>

#include "HostCameraPackets.h"
#include "HostVendorTags.h"

namespace tamo::platform::host {

namespace {

// Null, with one line, for a packet the metadata library does not accept.
camera_metadata* loadCamera(const HostCameraPacket& camera)
{
    const auto* packet = reinterpret_cast<const camera_metadata_t*>(camera.bytes);
    size_t size = camera.size;
    if (validate_camera_metadata_structure(packet, &size) != 0) {
        std::fprintf(stderr, "tamo_platform: %s: not a valid camera metadata packet\n", camera.source);
        return nullptr;
    }
    camera_metadata* copy = clone_camera_metadata(packet);
    if (copy != nullptr)
        sort_camera_metadata(copy); // as a HAL hands them over: found by bisection
    return copy;
}

class HostEnviron : public IPlatformEnviron {
public:
    HostEnviron()
    {
        for (size_t id = 0; id < kHostCameraCount && id < kHostCameraPacketCount; id++)
            mStatic[id] = loadCamera(kHostCameraPackets[id]);
    }

    ~HostEnviron() override
    {
        for (camera_metadata* buffer : mStatic)
            free_camera_metadata(buffer);
    }

    HostEnviron(const HostEnviron&) = delete;
    HostEnviron& operator=(const HostEnviron&) = delete;

    void appendVendorTagSections(std::vector<AppVendorTagSection>& sections) override
    {
        const auto& own = hostVendorTagSections();
        sections.insert(sections.end(), own.begin(), own.end());
    }

    const camera_metadata* getStaticMetadata(uint32_t cameraId) override
    {
        return cameraId < mStatic.size() ? mStatic[cameraId] : nullptr;
    }

private:
    std::array<camera_metadata*, kHostCameraCount> mStatic{};
};

} // namespace

std::shared_ptr<IPlatformEnviron> createHostEnviron()
{
    return std::make_shared<HostEnviron>();
}

} // namespace tamo::platform::host
