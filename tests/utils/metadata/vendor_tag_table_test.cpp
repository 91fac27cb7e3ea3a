/*
 * The framework's vendor tags against their published listing, through the
 * enumeration, the callbacks and the camera metadata library's own lookups.
 */
#include <cstring>
#include <iterator>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <system/camera_metadata.h>
#include <tamo/VendorTag.h>

#include "PlatformFakes.h"

using namespace tamo;

namespace {

struct ListedTag {
    uint32_t number;
    const char* fullName;
    int type;
};

const char* const kListedSections[] = {
    "com.tolv.chi.override", "tolv.control", "tolv.stats", "tolv.feedback",
    "tolv.parameter", "tolv.statsaec", "tolv.tamo.control",
};

// Published listing of the framework's tags: number, "section.tag", type code.
const ListedTag kListing[] = {
    {0x80010000, "com.tolv.chi.override.CameraType", 0},
    {0x80010001, "com.tolv.chi.override.LargeSizeThumbnail", 0},
    {0x80010002, "com.tolv.chi.override.SensorSize", 2},
    {0x80020000, "tolv.control.currentMode", 1},
    {0x80020001, "tolv.control.currentModeEx", 1},
    {0x80020002, "tolv.control.filter", 1},
    {0x80020003, "tolv.control.relighting", 1},
    {0x80020004, "tolv.control.refocus_level", 1},
    {0x80020005, "tolv.control.is_pro_mode", 1},
    {0x80020006, "tolv.control.ev", 2},
    {0x80020007, "tolv.control.exptime", 3},
    {0x80020008, "tolv.control.iso", 1},
    {0x80020009, "tolv.control.zoom_ratio", 2},
    {0x8002000A, "tolv.control.watermark", 1},
    {0x8002000B, "tolv.control.camera_id", 1},
    {0x8002000C, "tolv.control.engineer", 1},
    {0x8002000D, "tolv.control.mirror", 1},
    {0x8002000E, "tolv.control.requestId", 3},
    {0x8002000F, "tolv.control.RefocusRequestId", 3},
    {0x80020010, "tolv.control.wholeFileDir", 0},
    {0x80020011, "tolv.control.scenedetect", 1},
    {0x80020012, "tolv.control.aiSceneType", 1},
    {0x80020013, "tolv.control.aiSceneMode", 1},
    {0x80020014, "tolv.control.panoShot", 1},
    {0x80020015, "tolv.control.videoMode", 1},
    {0x80020016, "tolv.control.hdr_state", 1},
    {0x80020017, "tolv.control.iso_total", 1},
    {0x80020018, "tolv.control.hdr_gain", 2},
    {0x80020019, "tolv.control.hdr_shutter", 2},
    {0x8002001A, "tolv.control.zoom_action", 1},
    {0x8002001B, "tolv.control.beautyParams", 0},
    {0x8002001C, "tolv.control.beautyBodyParams", 0},
    {0x8002001D, "tolv.control.distortion_correction", 1},
    {0x8002001E, "tolv.control.aec_info", 2},
    {0x8002001F, "tolv.control.previewID", 1},
    {0x80020020, "tolv.control.watermark_name", 0},
    {0x80020021, "tolv.control.fd_priority", 1},
    {0x80020022, "tolv.control.led_current", 1},
    {0x80020023, "tolv.control.tofdistance", 1},
    {0x80020024, "tolv.control.front_torch_lux_low", 2},
    {0x80020025, "tolv.control.front_torch_lux_high", 2},
    {0x80020026, "tolv.control.sensor_gain", 2},
    {0x80020027, "tolv.control.max_sensor_gain", 2},
    {0x80020028, "tolv.control.awbGains", 0},
    {0x80020029, "tolv.control.super_ns_type", 1},
    {0x8002002A, "tolv.control.super_ns_dark_percent", 2},
    {0x8002002B, "tolv.control.expIndex", 2},
    {0x8002002C, "tolv.control.superNsMergeNum", 1},
    {0x8002002D, "tolv.control.is_engineering_mode", 1},
    {0x8002002E, "tolv.control.localtime", 0},
    {0x8002002F, "tolv.control.bayer_filter", 1},
    {0x80020030, "tolv.control.sensorMode", 1},
    {0x80020031, "tolv.control.rotate_enable", 1},
    {0x80020032, "tolv.control.eis.config.enable", 0},
    {0x80020033, "tolv.control.picturesize.value", 1},
    {0x80020034, "tolv.control.scene.crop.ratio", 2},
    {0x80020035, "tolv.control.tofconfig", 1},
    {0x80020036, "tolv.control.burst.captureHint", 1},
    {0x80020037, "tolv.control.AIAlgoDetect", 1},
    {0x80020038, "tolv.control.fusion.sat.value", 1},
    {0x80020039, "tolv.control.colour.temperature", 1},
    {0x8002003A, "tolv.control.vop", 1},
    {0x8002003B, "tolv.control.superEis", 0},
    {0x8002003C, "tolv.control.snapJpegSize", 1},
    {0x8002003D, "tolv.control.motion_level", 1},
    {0x8002003E, "tolv.control.beautyNewParams", 1},
    {0x8002003F, "tolv.control.beautyAlgoType", 1},
    {0x80020040, "tolv.control.reqID", 1},
    {0x80020041, "tolv.control.filmSize", 1},
    {0x80020042, "tolv.control.makeupParams", 1},
    {0x80020043, "tolv.control.portraitStyle", 1},
    {0x80020044, "tolv.control.eyelight.type", 0},
    {0x80020045, "tolv.control.style_params", 1},
    {0x80020046, "tolv.control.gender_type", 1},
    {0x80020047, "tolv.control.beauty_param.enable", 1},
    {0x80020048, "tolv.control.portrait.state", 1},
    {0x80020049, "tolv.control.systemUserID", 1},
    {0x8002004A, "tolv.control.moonlocationinfo.value", 2},
    {0x8002004B, "tolv.control.supermoon_shot_mode", 1},
    {0x8002004C, "tolv.control.supermoon_preview_mode", 1},
    {0x8002004D, "tolv.control.supermoonlocation", 1},
    {0x8002004E, "tolv.control.face.enlandmark", 1},
    {0x8002004F, "tolv.control.deflicker", 1},
    {0x80020050, "tolv.control.movie_portrait_type", 1},
    {0x80030000, "tolv.stats.3rd.info.awb_cct_value", 1},
    {0x80030001, "tolv.stats.3rd.info.af_status", 1},
    {0x80030002, "tolv.stats.3rd.info.lens_shift_mm", 2},
    {0x80030003, "tolv.stats.3rd.info.object_distance_mm", 2},
    {0x80030004, "tolv.stats.3rd.info.near_field_mm", 2},
    {0x80030005, "tolv.stats.3rd.info.far_field_mm", 2},
    {0x80030006, "tolv.stats.3rd.info.awbGains", 0},
    {0x80040000, "tolv.feedback.nextJpeg", 0},
    {0x80040001, "tolv.feedback.sensor_fps", 2},
    {0x80050000, "tolv.parameter.gyroData", 2},
    {0x80050001, "tolv.parameter.sceneAWBLightAI", 2},
    {0x80050002, "tolv.parameter.aec_settled", 2},
    {0x80050003, "tolv.parameter.vop.imagereadid", 2},
    {0x80050004, "tolv.parameter.crop_region_sat", 2},
    {0x80050005, "tolv.parameter.bandingDetectResult", 2},
    {0x80050006, "tolv.parameter.enableHwMFNR", 2},
    {0x80050007, "tolv.parameter.digitalzoom", 2},
    {0x80050008, "tolv.parameter.masterSatRole", 2},
    {0x80050009, "tolv.parameter.bandingHDR_needed", 2},
    {0x8005000A, "tolv.parameter.enableTOLVflickerDetect", 2},
    {0x8005000B, "tolv.parameter.ois.lens.buffer", 2},
    {0x80060000, "tolv.statsaec.AecLux", 2},
    {0x80070000, "tolv.tamo.control.cameraRole", 0},
    {0x80070001, "tolv.tamo.control.cameraType", 0},
};

// (section, tag) of a listed full name.
std::pair<std::string, std::string> split(const std::string& full)
{
    std::string section;
    for (std::string s : kListedSections)
        if (full.compare(0, s.size() + 1, s + ".") == 0 && s.size() > section.size())
            section = s;
    return {section, section.empty() ? "" : full.substr(section.size() + 1)};
}

} // namespace

TEST(VendorTagTable, MatchesTheListingEverywhere)
{
    ASSERT_EQ(std::size(kListing), 108u);
    std::vector<AppVendorTagSection> sections;
    {
        auto environment = std::make_shared<test::FakeEnviron>();
        test::PlatformGuard guard(environment);
        VendorTagUtils::getAllVendorTags(sections); // also installs the callbacks
        size_t platformSections = sections.size() - 7;
        sections.erase(sections.begin(), sections.begin() + platformSections);
    }
    ASSERT_EQ(sections.size(), 7u);

    size_t k = 0;
    for (size_t s = 0; s < sections.size(); s++) {
        EXPECT_EQ(sections[s].sectionName, kListedSections[s]);
        for (size_t i = 0; i < sections[s].tags.size(); i++, k++) {
            ASSERT_LT(k, std::size(kListing));
            const ListedTag& listed = kListing[k];
            const AppVendorTag& tag = sections[s].tags[i];
            auto [section, name] = split(listed.fullName);
            SCOPED_TRACE(listed.fullName);
            ASSERT_EQ(section, sections[s].sectionName);
            EXPECT_EQ(tag.tagId, listed.number);
            EXPECT_EQ(tag.tagName, name);
            EXPECT_EQ(tag.tagType, static_cast<uint32_t>(listed.type));
            // Lookups find a tag by position: section byte and index must agree.
            EXPECT_EQ(((tag.tagId - 0x80000000u) >> 16) - 1, s);
            EXPECT_EQ(tag.tagId & 0xFFFFu, i);

            const char* viaCallback = VendorTagDescriptorUtils::tamo_get_tag_name(nullptr, listed.number);
            const char* viaLibrary = get_camera_metadata_tag_name(listed.number);
            EXPECT_EQ(viaCallback != nullptr ? viaCallback : "", name);
            EXPECT_EQ(viaLibrary != nullptr ? viaLibrary : "", name);
            EXPECT_STREQ(VendorTagDescriptorUtils::tamo_get_section_name(nullptr, listed.number), section.c_str());
            EXPECT_STREQ(get_camera_metadata_section_name(listed.number), section.c_str());
            EXPECT_EQ(VendorTagDescriptorUtils::tamo_get_tag_type(nullptr, listed.number), listed.type);
            EXPECT_EQ(get_camera_metadata_tag_type(listed.number), listed.type);
        }
    }
    EXPECT_EQ(k, std::size(kListing));
    // Standard tags stay the library's own.
    EXPECT_STREQ(get_camera_metadata_tag_name(ANDROID_SCALER_CROP_REGION), "cropRegion");
}

TEST(VendorTagTable, ConcurrentFirstUseSeesOneTable)
{
    std::vector<const char*> names(8);
    std::vector<std::thread> threads;
    for (auto& name : names)
        threads.emplace_back([&name] { name = VendorTagDescriptorUtils::tamo_get_tag_name(nullptr, 0x80030003); });
    for (auto& thread : threads)
        thread.join();
    for (const char* name : names)
        EXPECT_EQ(name, names[0]); // the same storage: built once
    EXPECT_STREQ(names[0], "3rd.info.object_distance_mm");
    EXPECT_EQ(std::strlen(names[0]), 27u);
}
