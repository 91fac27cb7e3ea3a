// The host platform's data, which the framework's tests build on: cameras
// whose static metadata fits the characteristics cache (its test builds
// every one into the cache's 800 bytes), and vendor tag sections that agree
// with the tag descriptor (the listing test sees them after the caller's).
#include <string>
#include <vector>

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
        camera_metadata_ro_entry_t active{}, pixels{}, ids{};
        ASSERT_EQ(find_camera_metadata_ro_entry(m, ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE, &active) +
                          find_camera_metadata_ro_entry(m, ANDROID_SENSOR_INFO_PIXEL_ARRAY_SIZE, &pixels), 0);
        EXPECT_TRUE(active.data.i32[0] + active.data.i32[2] <= pixels.data.i32[0] &&
                    active.data.i32[1] + active.data.i32[3] <= pixels.data.i32[1]);
        std::string physical; // the logical cameras' members, as the framework lists them
        if (find_camera_metadata_ro_entry(m, ANDROID_LOGICAL_MULTI_CAMERA_PHYSICAL_IDS, &ids) == 0)
            for (size_t i = 0; i < ids.count; i++)
                physical += ids.data.u8[i] != 0 ? static_cast<char>(ids.data.u8[i]) : '|';
        EXPECT_EQ(physical, members[id]);
    }
    EXPECT_EQ(environment->getStaticMetadata(host::kHostCameraCount), nullptr);
}

TEST(HostPlatform, SectionsAgreeWithTheDescriptor)
{
    auto descriptor = host::createHostTagDescriptor();
    std::vector<AppVendorTagSection> sections = {{"caller.section", {}}};
    host::createHostEnviron()->appendVendorTagSections(sections);
    ASSERT_GE(sections.size(), 2u);
    for (uint32_t s = 1; s < sections.size(); s++) {
        for (uint32_t i = 0; i <= sections[s].tags.size(); i++) {
            const uint32_t tag = host::kHostVendorTagBase + ((s - 1) << 16) + i;
            const AppVendorTag* known = i < sections[s].tags.size() ? &sections[s].tags[i] : nullptr;
            EXPECT_EQ(known ? known->tagId : tag, tag);
            EXPECT_STREQ(descriptor->getSectionName(tag), sections[s].sectionName.c_str());
            EXPECT_STREQ(descriptor->getTagName(tag), known ? known->tagName.c_str() : nullptr);
            EXPECT_EQ(descriptor->getTagType(tag), known ? static_cast<int>(known->tagType) : 255);
        }
    }
}
