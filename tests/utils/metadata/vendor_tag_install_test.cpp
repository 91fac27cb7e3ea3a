/*
 * A process whose first vendor tag listing happens inside the test: what the
 * camera metadata library knows before and after the callbacks go in, and
 * characteristics built on either side of that moment. One test, in order.
 */
#include <dlfcn.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <TamoLogCapture.h>
#include <camera_metadata_hidden.h>
#include <system/camera_metadata.h>
#include <tamo/Metadata.h>
#include <tamo/VendorTag.h>

#include "DlInterpose.h"
#include "PlatformFakes.h"

using tamo::Metadata;
using tamo::StaticMetadataUtils;
using tamo::VendorTagUtils;
using tamo::host::LogCapture;
using tamo::test::LogLevelGuard;

namespace {

constexpr uint32_t kCameraType = 0x80010000;
constexpr uint32_t kLargeSizeThumbnail = 0x80010001;

bool has(const std::shared_ptr<Metadata>& m, uint32_t tag)
{
    return static_cast<int32_t>(m->getMetadataByTag(tag).count) >= 1;
}

} // namespace

TEST(VendorTagInstallation, HappensOnceOnTheFirstListing)
{
    LogCapture capture;
    LogLevelGuard level(2);
    const size_t platformEntries = get_camera_metadata_entry_count(
        tamo::platform::host::createHostEnviron()->getStaticMetadata(6));

    // Before: the library cannot name or type framework tags, so the
    // characteristics silently lack them, and stay so once cached.
    EXPECT_EQ(get_camera_metadata_tag_name(kCameraType), nullptr);
    EXPECT_EQ(get_camera_metadata_tag_type(kCameraType), -1);
    std::shared_ptr<Metadata> early = StaticMetadataUtils::getCameraCharacteristics(6);
    ASSERT_NE(early, nullptr);
    EXPECT_FALSE(has(early, kCameraType));
    EXPECT_FALSE(has(early, kLargeSizeThumbnail));
    EXPECT_TRUE(capture.hasMessage("[6]static metadata entry: " + std::to_string(platformEntries) +
                                   " -> " + std::to_string(platformEntries)));
    EXPECT_EQ(dl_open_calls, 0);

    std::vector<tamo::AppVendorTagSection> sections;
    VendorTagUtils::getAllVendorTags(sections);
    auto setup = capture.withFormat("temp setup vendor_tag_ops_t for framework", 2);
    ASSERT_EQ(setup.size(), 1u);
    EXPECT_EQ(setup[0].function, "operator()");
    EXPECT_EQ(capture.count("Error open libcamera_metadata.so %s"), 0u);
    EXPECT_EQ(capture.count("Error dlsym %s"), 0u);
    // Opened with immediate binding and closed again.
    EXPECT_EQ(dl_open_calls, 1);
    EXPECT_EQ(dl_open_flags, RTLD_NOW);
    EXPECT_EQ(dl_close_calls, 1);
    EXPECT_STREQ(get_camera_metadata_tag_name(kCameraType), "CameraType");
    EXPECT_STREQ(get_camera_metadata_section_name(kCameraType), "com.tolv.chi.override");
    EXPECT_EQ(get_camera_metadata_tag_type(kCameraType), TYPE_BYTE);

    // After: new builds carry both tags; the early one is kept as it was.
    EXPECT_EQ(StaticMetadataUtils::getCameraCharacteristics(6), early);
    EXPECT_FALSE(has(early, kCameraType));
    std::shared_ptr<Metadata> late = StaticMetadataUtils::getCameraCharacteristics(5);
    ASSERT_NE(late, nullptr);
    EXPECT_TRUE(has(late, kCameraType));
    EXPECT_TRUE(has(late, kLargeSizeThumbnail));

    // Later listings neither log nor install again.
    VendorTagUtils::getAllVendorTags(sections);
    set_camera_metadata_vendor_ops(nullptr);
    VendorTagUtils::getAllVendorTags(sections);
    EXPECT_EQ(capture.count("temp setup vendor_tag_ops_t for framework"), 1u);
    EXPECT_EQ(dl_open_calls, 1);
    EXPECT_EQ(get_camera_metadata_tag_name(kCameraType), nullptr);
}
