// The host platform's data, which the framework's tests build on: cameras
// whose static metadata fits the characteristics cache (its test builds
// every one into the cache's 800 bytes). That the vendor tag sections agree
// with the tag descriptor is the framework's callback test's.
#include <string>

#include <gtest/gtest.h>

#include <system/camera_metadata.h>
#include <tamo_platform/HostPlatform.h>

using namespace tamo::platform;

TEST(HostPlatform, NineCamerasThatFitTheFrameworkCache)
{
    auto environment = host::createHostEnviron();
    const char* const members[] = {"", "", "", "", "", "0|2|", "3|0|4|", "4|3|", "4|0|"};
    for (uint32_t id = 0; id < host::kHostCameraCount; id++) {
        SCOPED_TRACE(id);
        const camera_metadata* m = environment->getStaticMetadata(id);
        ASSERT_EQ(validate_camera_metadata_structure(m, nullptr), 0);
        camera_metadata_ro_entry_t ids{};
        std::string physical; // the logical cameras' members, as the framework lists them
        if (find_camera_metadata_ro_entry(m, ANDROID_LOGICAL_MULTI_CAMERA_PHYSICAL_IDS, &ids) == 0)
            for (size_t i = 0; i < ids.count; i++)
                physical += ids.data.u8[i] != 0 ? static_cast<char>(ids.data.u8[i]) : '|';
        EXPECT_EQ(physical, members[id]);
    }
}
