// The framework's vendor tags: the published table, the callbacks that serve
// it to the camera metadata library, the listing of every section, and the
// per-camera characteristics cache with the request converter.
#include <dlfcn.h>

#include <cstring>
#include <iostream>
#include <sstream>

#include <gmock/gmock.h>

#if TAMO_CAMERA_METADATA_FAULTS
#include <camera_metadata_fault.h>
#endif

#include "MetadataTestUtil.h"
#include "metadata/VendorTagMgr.h"

using namespace tamo;
using namespace metadata_test;

// What dlopen("libcamera_metadata.so") does in this process: 0 opens it,
// 1 fails with a loader error, 2 fails without one, 3 opens a library that
// lacks the installer. Other names always pass through.
static int g_dlMode = 0;

#ifdef __BIONIC__
#define TAMO_DLOPEN_NOEXCEPT // bionic declares it without
#else
#define TAMO_DLOPEN_NOEXCEPT noexcept
#endif
extern "C" void* dlopen(const char* file, int flags) TAMO_DLOPEN_NOEXCEPT
{
    static auto real = reinterpret_cast<void* (*)(const char*, int)>(dlsym(RTLD_NEXT, "dlopen"));
    if (g_dlMode == 0 || file == nullptr || std::strcmp(file, "libcamera_metadata.so") != 0)
        return real(file, flags);
    if (g_dlMode == 2)
        return dlerror(), nullptr;
    return real(g_dlMode == 1 ? "libcamera_metadata_absent.so" : "libtamo_log_control.so", flags);
}

namespace {

// The published table: per section, its tags in number order as "name:type"
// (0 byte, 1 int32, 2 float, 3 int64). Tag i of the section at position p
// is 0x80000000 + ((p + 1) << 16) + i.
const char* const kPublished[7][2] = {
    {"com.tolv.chi.override", "CameraType:0 LargeSizeThumbnail:0 SensorSize:2"},
    {"tolv.control",
     "currentMode:1 currentModeEx:1 filter:1 relighting:1 refocus_level:1 is_pro_mode:1 ev:2 exptime:3 iso:1 "
     "zoom_ratio:2 watermark:1 camera_id:1 engineer:1 mirror:1 requestId:3 RefocusRequestId:3 wholeFileDir:0 "
     "scenedetect:1 aiSceneType:1 aiSceneMode:1 panoShot:1 videoMode:1 hdr_state:1 iso_total:1 hdr_gain:2 "
     "hdr_shutter:2 zoom_action:1 beautyParams:0 beautyBodyParams:0 distortion_correction:1 aec_info:2 previewID:1 "
     "watermark_name:0 fd_priority:1 led_current:1 tofdistance:1 front_torch_lux_low:2 front_torch_lux_high:2 "
     "sensor_gain:2 max_sensor_gain:2 awbGains:0 super_ns_type:1 super_ns_dark_percent:2 expIndex:2 "
     "superNsMergeNum:1 is_engineering_mode:1 localtime:0 bayer_filter:1 sensorMode:1 rotate_enable:1 "
     "eis.config.enable:0 picturesize.value:1 scene.crop.ratio:2 tofconfig:1 burst.captureHint:1 AIAlgoDetect:1 "
     "fusion.sat.value:1 colour.temperature:1 vop:1 superEis:0 snapJpegSize:1 motion_level:1 beautyNewParams:1 "
     "beautyAlgoType:1 reqID:1 filmSize:1 makeupParams:1 portraitStyle:1 eyelight.type:0 style_params:1 "
     "gender_type:1 beauty_param.enable:1 portrait.state:1 systemUserID:1 moonlocationinfo.value:2 "
     "supermoon_shot_mode:1 supermoon_preview_mode:1 supermoonlocation:1 face.enlandmark:1 deflicker:1 "
     "movie_portrait_type:1"},
    {"tolv.stats",
     "3rd.info.awb_cct_value:1 3rd.info.af_status:1 3rd.info.lens_shift_mm:2 3rd.info.object_distance_mm:2 "
     "3rd.info.near_field_mm:2 3rd.info.far_field_mm:2 3rd.info.awbGains:0"},
    {"tolv.feedback", "nextJpeg:0 sensor_fps:2"},
    {"tolv.parameter",
     "gyroData:2 sceneAWBLightAI:2 aec_settled:2 vop.imagereadid:2 crop_region_sat:2 bandingDetectResult:2 "
     "enableHwMFNR:2 digitalzoom:2 masterSatRole:2 bandingHDR_needed:2 enableTOLVflickerDetect:2 ois.lens.buffer:2"},
    {"tolv.statsaec", "AecLux:2"},
    {"tolv.tamo.control", "cameraRole:0 cameraType:0"},
};

constexpr uint32_t kCameraType = 0x80010000, kLargeSizeThumbnail = 0x80010001, kCurrentMode = 0x80020000,
                   kZoomRatio = 0x80020009;

size_t listAll(std::vector<AppVendorTagSection>& sections)
{
    VendorTagUtils::getAllVendorTags(sections);
    return sections.size();
}

// "section name type" of a tag number, from the framework's callbacks.
std::string describe(uint32_t tag)
{
    const char* section = VendorTagDescriptorUtils::tamo_get_section_name(nullptr, tag);
    const char* name = VendorTagDescriptorUtils::tamo_get_tag_name(nullptr, tag);
    const int type = VendorTagDescriptorUtils::tamo_get_tag_type(nullptr, tag);
    return std::string(section ? section : "null") + " " + (name ? name : "null") + " " + std::to_string(type);
}

} // namespace

// After what the caller has, the platform's sections, answered by its
// descriptor, then the framework's seven as published; all under the lock.
// That the callbacks answer every other number, past each section's end and
// outside the sections, and that the metadata library answers as they do, is
// the metadata fuzzer's model.
TEST(VendorTags, ListingAppendsPlatformThenPublishedSectionsAndTheCallbacksServeThem)
{
    auto environ = std::make_shared<Environ>();
    environ->mustHold = &VendorTagUtils::descriptor_lock;
    Platform platform(environ);
    Logged capture(2);
    std::vector<AppVendorTagSection> sections = {{"caller.own", {}}};
    const uint32_t host = listAll(sections) - 8; // also installs the callbacks
    ASSERT_EQ(listAll(sections), 1 + 2 * (host + 7)); // everything again
    EXPECT_TRUE(environ->sectionCalls == 2 && !environ->unlockedCall);
    // Counts of sections, the caller's included, whatever the words say.
    const std::string get = "2 getAllVendorTags: get ", tamo = get + "7 tags from tamo";
    EXPECT_EQ(lines(capture), Lines({"2 operator(): temp setup vendor_tag_ops_t for framework",
                                     get + std::to_string(1 + host) + " tags from platform", tamo,
                                     get + std::to_string(1 + 2 * host + 7) + " tags from platform", tamo}));
    sections.erase(sections.begin()); // the platform's from 0, the framework's from host
    for (uint32_t s = 0; s < host; s++) {
        for (uint32_t i = 0; i <= sections[s].tags.size(); i++) {
            const AppVendorTag* tag = i < sections[s].tags.size() ? &sections[s].tags[i] : nullptr;
            const uint32_t number = 0x81000000u + (s << 16) + i;
            EXPECT_EQ(tag != nullptr ? tag->tagId : number, number);
            EXPECT_EQ(describe(number), sections[s].sectionName + " " +
                                                (tag ? tag->tagName + " " + std::to_string(tag->tagType) : "null 255"));
        }
    }
    for (uint32_t p = 0; p < 7; p++) {
        const AppVendorTagSection& section = sections[host + p];
        EXPECT_EQ(section.sectionName, kPublished[p][0]);
        std::istringstream listed(kPublished[p][1]);
        uint32_t i = 0;
        for (std::string entry; listed >> entry; i++) {
            const std::string name = entry.substr(0, entry.size() - 2);
            const uint32_t number = 0x80000000u + ((p + 1) << 16) + i, type = entry.back() - '0';
            ASSERT_LT(i, section.tags.size()) << entry;
            const AppVendorTag& tag = section.tags[i];
            EXPECT_TRUE(tag.tagId == number && tag.tagName == name && tag.tagType == type) << entry;
            EXPECT_EQ(describe(number), kPublished[p][0] + (" " + name) + " " + std::to_string(type));
        }
        EXPECT_EQ(i, section.tags.size());
    }
    platform::host::installTagDescriptor(nullptr); // from 0x81000000 up nobody else answers
    EXPECT_EQ(describe(0x81000000), "null null 255");
    platform::host::installEnviron(nullptr);
    std::vector<AppVendorTagSection> frameworkOnly;
    EXPECT_EQ(listAll(frameworkOnly), 7u);
}

// Each in a process started afresh, where no listing has installed the
// callbacks and no characteristics are cached yet: the first listing installs
// the callbacks, or says once why it could not (mode 1 to 3), and goes on all
// the same. The child's failures go to its standard error, which the parent shows.
TEST(VendorTags, FirstListingInstallsTheCallbacksOnceOrSaysWhyNot)
{
#ifdef __BIONIC__
    GTEST_SKIP() << "googletest keeps a child's output under /data/local/tmp, which the emulated userspace lacks";
#endif
    const std::string why[] = {"",
                               "Error open libcamera_metadata\\.so libcamera_metadata_absent\\.so: cannot open .*",
                               "Error open libcamera_metadata\\.so unknown",
                               "Error dlsym .*: undefined symbol: set_camera_metadata_vendor_ops"};
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (int mode = 0; mode < 4; mode++) {
        auto child = [mode, &why] {
            g_dlMode = mode;
            auto environ = std::make_shared<Environ>();
            environ->cacheSizedHost();
            Platform platform(environ);
            Logged capture(1); // errors are not gated; the notices are
            // Until then framework tags cannot be typed, so these lack them.
            EXPECT_EQ(text(StaticMetadataUtils::getCameraCharacteristics(6), kCameraType), "absent");
            std::vector<AppVendorTagSection> sections;
            const size_t once = listAll(sections);
            EXPECT_TRUE(listAll(sections) == 2 * once && once > 7);
            EXPECT_EQ(sections.back().sectionName, "tolv.tamo.control");
            EXPECT_THAT(lines(capture), testing::Each(testing::MatchesRegex("0 setUpDescriptor: " + why[mode])));
            EXPECT_EQ(lines(capture).size(), mode != 0 ? 1u : 0u);
            EXPECT_EQ(text(StaticMetadataUtils::getCameraCharacteristics(5), kCameraType), mode ? "absent" : "cam5");

            // Taken away, the callbacks are not put back by later listings.
            set_camera_metadata_vendor_ops(nullptr);
            listAll(sections);
            EXPECT_EQ(get_camera_metadata_tag_name(kCameraType), nullptr);
            const testing::TestResult* result = testing::UnitTest::GetInstance()->current_test_info()->result();
            for (int i = 0; i < result->total_part_count(); i++)
                std::cerr << result->GetTestPartResult(i);
            std::exit(result->Failed() ? 1 : 0);
        };
        EXPECT_EXIT(child(), testing::ExitedWithCode(0), "") << mode;
    }
}

TEST(StaticMetadata, BuiltOnceUnderTheLockRetriedAfterAFailureAndReadByTheConverter)
{
    std::vector<AppVendorTagSection> sections;
    listAll(sections); // framework tags can be written only once typed
    auto environ = std::make_shared<Environ>();
    environ->mustHold = &StaticMetadataUtils::static_map_lock;
    environ->cacheSizedHost();
    // Past the logical camera table.
    environ->own[9] = environ->own[0];
    // A complete camera: more data than the cache keeps.
    environ->own[12].reset(clone_camera_metadata(environ->host->getStaticMetadata(0)), free_camera_metadata);
    environ->own[41].reset(allocate_camera_metadata(1, 0), free_camera_metadata); // neither active array nor zoom
    Platform platform(environ);
    Logged capture(2);

    std::vector<std::shared_ptr<Metadata>> built(10); // camera 0 is built below, unlogged
    for (uint32_t id = 1; id <= 9; id++) {
        SCOPED_TRACE(id);
        ASSERT_NE(built[id] = StaticMetadataUtils::getCameraCharacteristics(id), nullptr);
        const bool named = id < 9;
        const size_t n = get_camera_metadata_entry_count(environ->own[id].get());
        EXPECT_EQ(text(built[id], kCameraType), named ? "cam" + std::to_string(id) : "absent");
        EXPECT_EQ(values<uint8_t>(built[id], kLargeSizeThumbnail), std::vector<uint8_t>{1});
        EXPECT_EQ(caps(built[id]), Caps(n + 5, 800));
        EXPECT_TRUE(capture.hasMessage("[" + std::to_string(id) + "]static metadata entry: " +
                                       std::to_string(n) + " -> " + std::to_string(n + 1 + named)));
        std::string members; // a logical camera's, as the platform lists them: ids, each ended by a zero
        for (uint32_t member : named ? logicalCameraTable().at(id).memberIds : std::vector<uint32_t>{})
            members += std::to_string(member) + '\0';
        EXPECT_EQ(text(built[id], ANDROID_LOGICAL_MULTI_CAMERA_PHYSICAL_IDS), members.empty() ? "absent" : members);
    }
    EXPECT_FALSE(environ->unlockedCall);
    // Cached: the same object, and the platform is not asked again.
    EXPECT_EQ(StaticMetadataUtils::getCameraCharacteristics(6), built[6]);

    g_logLv = 0;
    ASSERT_NE(StaticMetadataUtils::getCameraCharacteristics(0), nullptr);
    EXPECT_EQ(capture.count("[%u]static metadata entry: %u -> %u"), 9u);
    // A failed build, without platform data or without memory, is not
    // cached: the next call asks again.
    capture.clear();
    EXPECT_GT(get_camera_metadata_data_count(environ->own[12].get()), 800u);
    EXPECT_EQ(StaticMetadataUtils::getCameraCharacteristics(12), nullptr);
    EXPECT_EQ(StaticMetadataUtils::getCameraCharacteristics(31), nullptr);
    environ->own[31].reset(allocate_camera_metadata(1, 0), free_camera_metadata);
    Lines failures{"0 operator(): updat Characteristics fail", "0 operator(): updat Characteristics fail"};
    int platformCalls = 13;
#if TAMO_CAMERA_METADATA_FAULTS
    platformCalls++;
    camera_metadata_fail_allocations(1);
    EXPECT_EQ(StaticMetadataUtils::getCameraCharacteristics(31), nullptr);
    failures.insert(failures.end(), {"0 init: allocate metadata fail, entryCapacity(5), dataSize(800)",
                                     "0 operator(): updat Characteristics fail"});
#endif
    EXPECT_NE(StaticMetadataUtils::getCameraCharacteristics(31), nullptr);
    EXPECT_EQ(environ->staticCalls, platformCalls);
    EXPECT_EQ(lines(capture), failures);

    // The converter, on host camera 0: an active array 4000 pixels wide,
    // maximum digital zoom 8.
    using Zoom = std::vector<float>;
    auto converted = [](int32_t cropWidth, uint32_t camera = 0) {
        std::shared_ptr<Metadata> m = Metadata::create();
        m->init(8, 64);
        const int32_t crop[4] = {0, 0, cropWidth, 1500};
        if (cropWidth != 0)
            m->updateMetaDataByTag(ANDROID_SCALER_CROP_REGION, crop, 4);
        VendorTagUtils::converter(m, camera);
        return m;
    };
    EXPECT_EQ(values<float>(converted(0), kZoomRatio), Zoom{1});
    std::shared_ptr<Metadata> cropped = converted(2000);
    EXPECT_TRUE(values<float>(cropped, kZoomRatio) == Zoom{4} && values(cropped, kCurrentMode) == std::vector<int>{0});
    // What is there stays, whatever the crop region says now.
    const int32_t mode = 7, crop[4] = {0, 0, 1000, 750};
    cropped->updateMetaDataByTag(kCurrentMode, &mode, 1);
    cropped->updateMetaDataByTag(ANDROID_SCALER_CROP_REGION, crop, 4);
    VendorTagUtils::converter(cropped, 0);
    EXPECT_TRUE(values<float>(cropped, kZoomRatio) == Zoom{4} && values(cropped, kCurrentMode) == std::vector<int>{7});
    // Without usable characteristics the ratio stays 1.0.
    EXPECT_EQ(values<float>(converted(2000, 40), kZoomRatio), Zoom{1});
    EXPECT_EQ(values<float>(converted(2000, 41), kZoomRatio), Zoom{1});
    VendorTagUtils::converter(nullptr, 0);

    // Cameras 5 to 8 are logical, of these members; 3 has no sensor id.
    const std::vector<std::vector<uint32_t>> members = {{}, {}, {}, {}, {}, {0, 2}, {3, 0, 4}, {4, 3}, {4, 0}};
    ASSERT_EQ(logicalCameraTable().size(), members.size());
    for (uint32_t id = 0; id < members.size(); id++)
        EXPECT_TRUE(logicalCameraTable()[id].cameraId == id && logicalCameraTable()[id].memberIds == members[id]);
    const std::map<uint32_t, SENSOR_ID> sensors = {{0, SENSOR_ID(0)}, {1, SENSOR_ID(1)}, {2, SENSOR_ID(2)},
                                                   {4, SENSOR_ID(3)}, {5, SENSOR_ID(4)}};
    EXPECT_EQ(sensorIdMap(), sensors);
}
