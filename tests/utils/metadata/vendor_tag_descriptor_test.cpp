/*
 * Dispatch of the vendor tag callbacks between the framework's table and the
 * platform's descriptor, and the listing of every vendor tag section.
 */
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <TamoLogCapture.h>
#include <camera_metadata_hidden.h>
#include <tamo/VendorTag.h>

#include "PlatformFakes.h"

using namespace tamo;
using namespace tamo::test;
using tamo::host::LogCapture;

namespace {

const char* sectionOf(uint32_t tag) { return VendorTagDescriptorUtils::tamo_get_section_name(nullptr, tag); }
const char* nameOf(uint32_t tag) { return VendorTagDescriptorUtils::tamo_get_tag_name(nullptr, tag); }
int typeOf(uint32_t tag) { return VendorTagDescriptorUtils::tamo_get_tag_type(nullptr, tag); }

} // namespace

TEST(VendorTagDescriptor, FrameworkTagsDispatchByPosition)
{
    EXPECT_STREQ(sectionOf(0x80020001), "tolv.control");
    EXPECT_STREQ(nameOf(0x80020001), "currentModeEx");
    EXPECT_EQ(typeOf(0x80020001), TYPE_INT32);

    // Past a section's last tag: the section is still named, the tag is not.
    for (uint32_t tag : {0x80020051u, 0x80020100u, 0x80060001u, 0x8001FFFFu}) {
        EXPECT_NE(sectionOf(tag), nullptr) << std::hex << tag;
        EXPECT_EQ(nameOf(tag), nullptr) << std::hex << tag;
        EXPECT_EQ(typeOf(tag), 255) << std::hex << tag;
    }
    EXPECT_STREQ(sectionOf(0x80020051), "tolv.control");
    EXPECT_STREQ(sectionOf(0x8001FFFF), "com.tolv.chi.override");

    // Section bytes outside 1..7, and standard tags, are nobody's.
    for (uint32_t tag : {0x80080000u, 0x80000000u, 0x8000FFFFu, 0x80FFFFFFu, 0x00010000u, 0x7FFFFFFFu}) {
        EXPECT_EQ(sectionOf(tag), nullptr) << std::hex << tag;
        EXPECT_EQ(nameOf(tag), nullptr) << std::hex << tag;
        EXPECT_EQ(typeOf(tag), 255) << std::hex << tag;
    }

    EXPECT_EQ(VendorTagDescriptorUtils::tamo_get_tag_count(nullptr), 0);
    uint32_t tags[2] = {1, 2};
    VendorTagDescriptorUtils::tamo_get_all_tags(nullptr, tags);
    EXPECT_EQ(tags[0] + tags[1], 3u);
}

TEST(VendorTagDescriptor, PlatformTagsGoToThePlatformDescriptor)
{
    auto descriptor = std::make_shared<RecordingTagDescriptor>();
    PlatformGuard guard(std::make_shared<FakeEnviron>(), descriptor);
    for (uint32_t tag : {0x81000000u, 0x9A010203u, 0xFFFFFFFFu}) {
        EXPECT_STREQ(sectionOf(tag), "fake.section");
        EXPECT_EQ(descriptor->lastTag, tag);
        EXPECT_STREQ(nameOf(tag), "fakeTag");
        EXPECT_EQ(typeOf(tag), TYPE_INT64);
    }
    EXPECT_EQ(descriptor->calls, 9);
    // The framework's range never reaches the platform, even for tags it lacks.
    for (uint32_t tag : {0x80FFFFFFu, 0x80020001u, 0x00010000u})
        sectionOf(tag), nameOf(tag), typeOf(tag);
    EXPECT_EQ(descriptor->calls, 9);

    platform::host::installTagDescriptor(nullptr);
    EXPECT_EQ(sectionOf(0x81000000), nullptr);
    EXPECT_EQ(nameOf(0x81000000), nullptr);
    EXPECT_EQ(typeOf(0x81000000), 255);

    // The host's own descriptor, reached through the camera metadata library.
    platform::host::resetPlatform();
    std::vector<AppVendorTagSection> sections;
    VendorTagUtils::getAllVendorTags(sections);
    const AppVendorTag& first = sections.at(0).tags.at(0);
    EXPECT_EQ(first.tagId, 0x81000000u);
    EXPECT_STREQ(get_camera_metadata_section_name(first.tagId), sections[0].sectionName.c_str());
    EXPECT_STREQ(get_camera_metadata_tag_name(first.tagId), first.tagName.c_str());
    EXPECT_EQ(get_camera_metadata_tag_type(first.tagId), static_cast<int>(first.tagType));
}

TEST(VendorTagUtils, ListingAppendsPlatformThenFrameworkSectionsUnderTheLock)
{
    auto environment = std::make_shared<FakeEnviron>();
    std::atomic<bool> locked{false};
    environment->onCall = [&] { locked = heldElsewhere(VendorTagUtils::descriptor_lock); };
    PlatformGuard guard(environment);
    std::vector<AppVendorTagSection> platformOnly;
    platform::host::createHostEnviron()->appendVendorTagSections(platformOnly);
    const size_t p = platformOnly.size();

    LogCapture capture;
    LogLevelGuard level(2);
    std::vector<AppVendorTagSection> sections = {{"caller.own", {}}};
    VendorTagUtils::getAllVendorTags(sections);
    EXPECT_TRUE(locked);
    ASSERT_EQ(sections.size(), 1 + p + 7);
    EXPECT_EQ(sections[1].sectionName, platformOnly.at(0).sectionName);
    EXPECT_EQ(sections[1 + p].sectionName, "com.tolv.chi.override");

    // The counts are of sections, the caller's included.
    auto fromPlatform = capture.withFormat("get %u tags from platform", 2);
    auto fromTamo = capture.withFormat("get %u tags from tamo", 2);
    ASSERT_EQ(fromPlatform.size(), 1u);
    ASSERT_EQ(fromTamo.size(), 1u);
    EXPECT_EQ(fromPlatform[0].message, "get " + std::to_string(1 + p) + " tags from platform");
    EXPECT_EQ(fromTamo[0].message, "get 7 tags from tamo");
    EXPECT_EQ(fromPlatform[0].function, "getAllVendorTags");

    // Again on the same vector: everything is appended again.
    VendorTagUtils::getAllVendorTags(sections);
    ASSERT_EQ(sections.size(), 1 + 2 * (p + 7));
    EXPECT_EQ(sections[1 + p + 7].sectionName, platformOnly[0].sectionName);
    EXPECT_EQ(sections.back().sectionName, "tolv.tamo.control");
    EXPECT_EQ(environment->sectionCalls, 2);

    // Below level 2 the counts are not even formatted; without a platform
    // environment the framework's sections still come, with one error.
    capture.clear();
    g_logLv = 1;
    platform::host::installEnviron(nullptr);
    std::vector<AppVendorTagSection> frameworkOnly;
    VendorTagUtils::getAllVendorTags(frameworkOnly);
    EXPECT_EQ(frameworkOnly.size(), 7u);
    EXPECT_EQ(capture.count("get %u tags from platform") + capture.count("get %u tags from tamo"), 0u);
    EXPECT_EQ(capture.count("no platform environment, platform vendor tags left out", 0), 1u);
}

TEST(VendorTagUtils, CallbacksAreInstalledOnlyOnce)
{
    std::vector<AppVendorTagSection> sections;
    VendorTagUtils::getAllVendorTags(sections);
    ASSERT_STREQ(get_camera_metadata_tag_name(0x80010000), "CameraType");

    // Take them away: a later listing must not put them back.
    set_camera_metadata_vendor_ops(nullptr);
    VendorTagUtils::getAllVendorTags(sections);
    EXPECT_EQ(get_camera_metadata_tag_name(0x80010000), nullptr);

    static const vendor_tag_ops_t restored = {
        VendorTagDescriptorUtils::tamo_get_tag_count,    VendorTagDescriptorUtils::tamo_get_all_tags,
        VendorTagDescriptorUtils::tamo_get_section_name, VendorTagDescriptorUtils::tamo_get_tag_name,
        VendorTagDescriptorUtils::tamo_get_tag_type,     {},
    };
    set_camera_metadata_vendor_ops(&restored);
}
