#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <system/camera_metadata.h>
#include <tamo_platform/HostPlatform.h>

using namespace tamo::platform;

namespace {

// Data bytes the framework's characteristics cache leaves for a camera.
constexpr size_t kCharacteristicsDataBytes = 800;

camera_metadata_ro_entry_t find(const camera_metadata* m, uint32_t tag)
{
    camera_metadata_ro_entry_t entry{};
    EXPECT_EQ(find_camera_metadata_ro_entry(m, tag, &entry), 0) << std::hex << tag;
    return entry;
}

std::vector<std::string> physicalIds(const camera_metadata* m)
{
    camera_metadata_ro_entry_t entry{};
    if (find_camera_metadata_ro_entry(m, ANDROID_LOGICAL_MULTI_CAMERA_PHYSICAL_IDS, &entry) != 0)
        return {};
    std::vector<std::string> ids;
    const char* text = reinterpret_cast<const char*>(entry.data.u8);
    for (size_t at = 0; at < entry.count; at += std::strlen(text + at) + 1)
        ids.emplace_back(text + at);
    return ids;
}

} // namespace

TEST(HostPlatformEnviron, CamerasAreCompleteAndFitTheCache)
{
    auto environment = host::createHostEnviron();
    const std::vector<std::vector<std::string>> members = {
        {}, {}, {}, {}, {}, {"0", "2"}, {"3", "0", "4"}, {"4", "3"}, {"4", "0"}};
    for (uint32_t id = 0; id < host::kHostCameraCount; id++) {
        SCOPED_TRACE(id);
        const camera_metadata* m = environment->getStaticMetadata(id);
        ASSERT_NE(m, nullptr);
        EXPECT_EQ(validate_camera_metadata_structure(m, nullptr), 0);
        EXPECT_LE(get_camera_metadata_data_count(m), kCharacteristicsDataBytes);

        auto active = find(m, ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE);
        auto pixels = find(m, ANDROID_SENSOR_INFO_PIXEL_ARRAY_SIZE);
        ASSERT_EQ(active.count, 4u);
        ASSERT_EQ(pixels.count, 2u);
        EXPECT_LE(active.data.i32[0] + active.data.i32[2], pixels.data.i32[0]);
        EXPECT_LE(active.data.i32[1] + active.data.i32[3], pixels.data.i32[1]);
        EXPECT_GE(find(m, ANDROID_SCALER_AVAILABLE_MAX_DIGITAL_ZOOM).data.f[0], 1.0f);
        EXPECT_EQ(find(m, ANDROID_LENS_FACING).data.u8[0], id == 1 ? 0 : 1);
        EXPECT_EQ(find(m, ANDROID_SENSOR_ORIENTATION).data.i32[0], id == 1 ? 270 : 90);

        // The largest JPEG output is the full active array.
        auto configs = find(m, ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS);
        ASSERT_EQ(configs.count % 4, 0u);
        ASSERT_GE(configs.count, 4u);
        EXPECT_EQ(configs.data.i32[0], 0x21);
        EXPECT_EQ(configs.data.i32[1], active.data.i32[2]);
        EXPECT_EQ(configs.data.i32[2], active.data.i32[3]);

        EXPECT_EQ(physicalIds(m), members[id]);
    }
    EXPECT_EQ(find(environment->getStaticMetadata(0), ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE).data.i32[2], 4000);
    EXPECT_EQ(environment->getStaticMetadata(host::kHostCameraCount), nullptr);
}

TEST(HostPlatformEnviron, SectionsAreAppendedAndAgreeWithTheDescriptor)
{
    auto environment = host::createHostEnviron();
    auto descriptor = host::createHostTagDescriptor();
    std::vector<AppVendorTagSection> sections = {{"caller.section", {}}};
    environment->appendVendorTagSections(sections);
    ASSERT_GE(sections.size(), 2u);
    EXPECT_EQ(sections[0].sectionName, "caller.section");

    for (size_t s = 1; s < sections.size(); s++) {
        ASSERT_FALSE(sections[s].tags.empty());
        for (size_t i = 0; i < sections[s].tags.size(); i++) {
            const AppVendorTag& tag = sections[s].tags[i];
            EXPECT_EQ(tag.tagId, host::kHostVendorTagBase + ((s - 1) << 16) + i);
            EXPECT_STREQ(descriptor->getSectionName(tag.tagId), sections[s].sectionName.c_str());
            EXPECT_STREQ(descriptor->getTagName(tag.tagId), tag.tagName.c_str());
            EXPECT_EQ(descriptor->getTagType(tag.tagId), static_cast<int>(tag.tagType));
            EXPECT_LT(tag.tagType, static_cast<uint32_t>(NUM_TYPES));
        }
        // One past a section's last tag still names the section only.
        uint32_t past = sections[s].tags.back().tagId + 1;
        EXPECT_STREQ(descriptor->getSectionName(past), sections[s].sectionName.c_str());
        EXPECT_EQ(descriptor->getTagName(past), nullptr);
        EXPECT_EQ(descriptor->getTagType(past), 255);
    }
    uint32_t pastSections = host::kHostVendorTagBase + (static_cast<uint32_t>(sections.size() - 1) << 16);
    for (uint32_t tag : {pastSections, 0x80FFFFFFu, 0x00010000u}) {
        EXPECT_EQ(descriptor->getSectionName(tag), nullptr) << std::hex << tag;
        EXPECT_EQ(descriptor->getTagName(tag), nullptr);
        EXPECT_EQ(descriptor->getTagType(tag), 255);
    }
}

TEST(HostPlatform, InstalledInstancesReplaceTheDefaultsUntilReset)
{
    auto defaultEnviron = IPlatformEnviron::getInstance();
    ASSERT_NE(defaultEnviron, nullptr);
    EXPECT_EQ(IPlatformEnviron::getInstance(), defaultEnviron); // one per process
    ASSERT_NE(IPlatformTagDescriptor::getInstance(), nullptr);

    auto own = host::createHostEnviron();
    std::weak_ptr<IPlatformEnviron> watch = own;
    host::installEnviron(own);
    host::installTagDescriptor(nullptr);
    own.reset();
    EXPECT_EQ(IPlatformEnviron::getInstance(), watch.lock());
    EXPECT_EQ(IPlatformTagDescriptor::getInstance(), nullptr);

    host::installEnviron(nullptr);
    EXPECT_EQ(IPlatformEnviron::getInstance(), nullptr);
    EXPECT_TRUE(watch.expired()); // replaced instances are released

    host::resetPlatform();
    auto fresh = IPlatformEnviron::getInstance();
    ASSERT_NE(fresh, nullptr);
    EXPECT_NE(fresh->getStaticMetadata(0), nullptr);
    EXPECT_NE(IPlatformTagDescriptor::getInstance(), nullptr);
}
