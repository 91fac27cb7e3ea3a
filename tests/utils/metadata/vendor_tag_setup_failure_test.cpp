/*
 * Processes in which the vendor tag callbacks cannot be installed: the
 * library cannot be opened (with or without a loader error), or it lacks the
 * installer. Built once per case (DL_CASE, named DL_SUITE); each case needs a
 * fresh process.
 */
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <TamoLogCapture.h>
#include <system/camera_metadata.h>
#include <tamo/VendorTag.h>

#include "DlInterpose.h"
#include "PlatformFakes.h"

using tamo::VendorTagUtils;
using tamo::host::LogCapture;
using tamo::test::LogLevelGuard;

TEST(DL_SUITE, IsLoggedOnceAndListingGoesOn)
{
    dl_mode = static_cast<dl_interpose_mode>(DL_CASE);
    dl_open_calls = dl_close_calls = 0;
    LogCapture capture;
    LogLevelGuard level(1); // errors are not gated, the installation notice is

    std::vector<tamo::AppVendorTagSection> sections;
    VendorTagUtils::getAllVendorTags(sections);
    VendorTagUtils::getAllVendorTags(sections);

    // The loader's own text follows the message, "unknown" when it has none.
    const bool openFails = DL_CASE != DL_OPEN_OTHER;
    const char* expected =
        DL_CASE == DL_OPEN_FAILS ? "Error open libcamera_metadata\\.so " DL_MISSING_LIBRARY ": cannot open .*"
        : DL_CASE == DL_OPEN_SILENT ? "Error open libcamera_metadata\\.so unknown"
                                    : "Error dlsym .*" DL_OTHER_LIBRARY ": undefined symbol: set_camera_metadata_vendor_ops";
    auto errors = capture.withFormat(openFails ? "Error open libcamera_metadata.so %s" : "Error dlsym %s", 0);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_THAT(errors[0].message, ::testing::MatchesRegex(expected));
    EXPECT_EQ(errors[0].function, "setUpDescriptor");
    EXPECT_EQ(capture.count("temp setup vendor_tag_ops_t for framework"), 0u);
    EXPECT_EQ(dl_open_calls, 1); // not retried

    // A handle that was opened is closed.
    EXPECT_EQ(dl_close_calls, openFails ? 0 : 1);

    // Listing is unaffected; the library still cannot name framework tags.
    std::vector<tamo::AppVendorTagSection> platformOnly;
    tamo::platform::host::createHostEnviron()->appendVendorTagSections(platformOnly);
    ASSERT_EQ(sections.size(), 2 * (platformOnly.size() + 7));
    EXPECT_EQ(sections.back().sectionName, "tolv.tamo.control");
    EXPECT_EQ(get_camera_metadata_tag_name(0x80010000), nullptr);
}
