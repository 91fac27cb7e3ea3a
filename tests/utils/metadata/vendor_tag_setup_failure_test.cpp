/*
 * Processes in which the vendor tag callbacks cannot be installed: the
 * library cannot be opened (with or without a loader error), or it lacks the
 * installer. Built once per case (DL_CASE, named DL_SUITE); each case needs a
 * fresh process.
 */
#include <dlfcn.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <TamoLogCapture.h>
#include <system/camera_metadata.h>
#include <tamo/VendorTag.h>

#include "DlInterpose.h"
#include "PlatformFakes.h"

using tamo::VendorTagUtils;
using tamo::host::LogCapture;
using tamo::test::LogLevelGuard;

namespace {

// The loader's text for the failure the interposer stages.
std::string expectedLoaderText()
{
    switch (DL_CASE) {
    case DL_OPEN_FAILS:
    case DL_OPEN_OTHER: {
        dlerror();
        void* handle = DL_CASE == DL_OPEN_FAILS ? dlopen(DL_MISSING_LIBRARY, RTLD_NOW)
                                                : dlopen(DL_OTHER_LIBRARY, RTLD_NOW);
        if (handle != nullptr) {
            dlsym(handle, "set_camera_metadata_vendor_ops");
            const char* text = dlerror();
            std::string result = text != nullptr ? text : "";
            dlclose(handle);
            return result;
        }
        const char* text = dlerror();
        return text != nullptr ? text : "";
    }
    default:
        return "unknown";
    }
}

} // namespace

TEST(DL_SUITE, IsLoggedOnceAndListingGoesOn)
{
    const std::string loaderText = expectedLoaderText();
    ASSERT_FALSE(loaderText.empty());
    dl_mode = static_cast<dl_interpose_mode>(DL_CASE);
    dl_open_calls = dl_close_calls = 0;
    LogCapture capture;
    LogLevelGuard level(1); // errors are not gated, the installation notice is

    std::vector<tamo::AppVendorTagSection> sections;
    VendorTagUtils::getAllVendorTags(sections);
    VendorTagUtils::getAllVendorTags(sections);

    const bool openFails = DL_CASE != DL_OPEN_OTHER;
    const char* format = openFails ? "Error open libcamera_metadata.so %s" : "Error dlsym %s";
    const std::string message = (openFails ? "Error open libcamera_metadata.so " : "Error dlsym ") + loaderText;
    auto errors = capture.withFormat(format, 0);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].message, message);
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
