/*
 * The framework's vendor tags and the static characteristics cache.
 *
 * The tag table is constant data built into vectors on first use; the
 * camera metadata library reaches it through the callbacks installed by the
 * first getAllVendorTags(). Tags from 0x81000000 up belong to the platform
 * layer and are answered by its tag descriptor.
 */
#include <tamo/VendorTag.h>

#include <dlfcn.h>

#include <memory>

#include <system/camera_metadata.h>
#include <system/camera_vendor_tags.h>
#include <tamo/Metadata.h>
#include <tamo_platform/IPlatformEnviron.h>
#include <tamo_platform/IPlatformTagDescriptor.h>

#include "TamoLog.h"
#include "metadata/VendorTagMgr.h"

namespace tamo {

namespace {

constexpr int kUnknownTagType = 255;

// Built at library load, before anything can ask for them.
const std::vector<LogicalCameraInfo> kLogicalCameras = {
    {0, "cam0", {}},
    {1, "cam1", {}},
    {2, "cam2", {}},
    {3, "cam3", {}},
    {4, "cam4", {}},
    {5, "cam5", {0, 2}},
    {6, "cam6", {3, 0, 4}},
    {7, "cam7", {4, 3}},
    {8, "cam8", {4, 0}},
};

// Camera 3 has no tuning identity of its own.
const std::map<uint32_t, SENSOR_ID> kSensorIds = {
    {0, SENSOR_ID_REAR_MAIN},
    {1, SENSOR_ID_FRONT_MAIN},
    {2, SENSOR_ID_REAR_ULTRA_WIDE},
    {4, SENSOR_ID_REAR_TELE},
    {5, SENSOR_ID_REAR_MULTI},
};

} // namespace

std::map<uint32_t, std::shared_ptr<Metadata>> StaticMetadataUtils::staticMap;
std::mutex StaticMetadataUtils::static_map_lock;
std::once_flag VendorTagUtils::descriptor_flag;
std::mutex VendorTagUtils::descriptor_lock;

const std::vector<LogicalCameraInfo>& logicalCameraTable()
{
    return kLogicalCameras;
}

const std::map<uint32_t, SENSOR_ID>& sensorIdMap()
{
    return kSensorIds;
}

namespace {

// One function per section: each list is built the first time it is reached.

const std::vector<AppVendorTag>& chiOverrideTags()
{
    static const std::vector<AppVendorTag> tags = {
        {0x80010000, "CameraType", TYPE_BYTE},
        {0x80010001, "LargeSizeThumbnail", TYPE_BYTE},
        {0x80010002, "SensorSize", TYPE_FLOAT},
    };
    return tags;
}

const std::vector<AppVendorTag>& controlTags()
{
    static const std::vector<AppVendorTag> tags = {
        {0x80020000, "currentMode", TYPE_INT32},
        {0x80020001, "currentModeEx", TYPE_INT32},
        {0x80020002, "filter", TYPE_INT32},
        {0x80020003, "relighting", TYPE_INT32},
        {0x80020004, "refocus_level", TYPE_INT32},
        {0x80020005, "is_pro_mode", TYPE_INT32},
        {0x80020006, "ev", TYPE_FLOAT},
        {0x80020007, "exptime", TYPE_INT64},
        {0x80020008, "iso", TYPE_INT32},
        {0x80020009, "zoom_ratio", TYPE_FLOAT},
        {0x8002000A, "watermark", TYPE_INT32},
        {0x8002000B, "camera_id", TYPE_INT32},
        {0x8002000C, "engineer", TYPE_INT32},
        {0x8002000D, "mirror", TYPE_INT32},
        {0x8002000E, "requestId", TYPE_INT64},
        {0x8002000F, "RefocusRequestId", TYPE_INT64},
        {0x80020010, "wholeFileDir", TYPE_BYTE},
        {0x80020011, "scenedetect", TYPE_INT32},
        {0x80020012, "aiSceneType", TYPE_INT32},
        {0x80020013, "aiSceneMode", TYPE_INT32},
        {0x80020014, "panoShot", TYPE_INT32},
        {0x80020015, "videoMode", TYPE_INT32},
        {0x80020016, "hdr_state", TYPE_INT32},
        {0x80020017, "iso_total", TYPE_INT32},
        {0x80020018, "hdr_gain", TYPE_FLOAT},
        {0x80020019, "hdr_shutter", TYPE_FLOAT},
        {0x8002001A, "zoom_action", TYPE_INT32},
        {0x8002001B, "beautyParams", TYPE_BYTE},
        {0x8002001C, "beautyBodyParams", TYPE_BYTE},
        {0x8002001D, "distortion_correction", TYPE_INT32},
        {0x8002001E, "aec_info", TYPE_FLOAT},
        {0x8002001F, "previewID", TYPE_INT32},
        {0x80020020, "watermark_name", TYPE_BYTE},
        {0x80020021, "fd_priority", TYPE_INT32},
        {0x80020022, "led_current", TYPE_INT32},
        {0x80020023, "tofdistance", TYPE_INT32},
        {0x80020024, "front_torch_lux_low", TYPE_FLOAT},
        {0x80020025, "front_torch_lux_high", TYPE_FLOAT},
        {0x80020026, "sensor_gain", TYPE_FLOAT},
        {0x80020027, "max_sensor_gain", TYPE_FLOAT},
        {0x80020028, "awbGains", TYPE_BYTE},
        {0x80020029, "super_ns_type", TYPE_INT32},
        {0x8002002A, "super_ns_dark_percent", TYPE_FLOAT},
        {0x8002002B, "expIndex", TYPE_FLOAT},
        {0x8002002C, "superNsMergeNum", TYPE_INT32},
        {0x8002002D, "is_engineering_mode", TYPE_INT32},
        {0x8002002E, "localtime", TYPE_BYTE},
        {0x8002002F, "bayer_filter", TYPE_INT32},
        {0x80020030, "sensorMode", TYPE_INT32},
        {0x80020031, "rotate_enable", TYPE_INT32},
        {0x80020032, "eis.config.enable", TYPE_BYTE},
        {0x80020033, "picturesize.value", TYPE_INT32},
        {0x80020034, "scene.crop.ratio", TYPE_FLOAT},
        {0x80020035, "tofconfig", TYPE_INT32},
        {0x80020036, "burst.captureHint", TYPE_INT32},
        {0x80020037, "AIAlgoDetect", TYPE_INT32},
        {0x80020038, "fusion.sat.value", TYPE_INT32},
        {0x80020039, "colour.temperature", TYPE_INT32},
        {0x8002003A, "vop", TYPE_INT32},
        {0x8002003B, "superEis", TYPE_BYTE},
        {0x8002003C, "snapJpegSize", TYPE_INT32},
        {0x8002003D, "motion_level", TYPE_INT32},
        {0x8002003E, "beautyNewParams", TYPE_INT32},
        {0x8002003F, "beautyAlgoType", TYPE_INT32},
        {0x80020040, "reqID", TYPE_INT32},
        {0x80020041, "filmSize", TYPE_INT32},
        {0x80020042, "makeupParams", TYPE_INT32},
        {0x80020043, "portraitStyle", TYPE_INT32},
        {0x80020044, "eyelight.type", TYPE_BYTE},
        {0x80020045, "style_params", TYPE_INT32},
        {0x80020046, "gender_type", TYPE_INT32},
        {0x80020047, "beauty_param.enable", TYPE_INT32},
        {0x80020048, "portrait.state", TYPE_INT32},
        {0x80020049, "systemUserID", TYPE_INT32},
        {0x8002004A, "moonlocationinfo.value", TYPE_FLOAT},
        {0x8002004B, "supermoon_shot_mode", TYPE_INT32},
        {0x8002004C, "supermoon_preview_mode", TYPE_INT32},
        {0x8002004D, "supermoonlocation", TYPE_INT32},
        {0x8002004E, "face.enlandmark", TYPE_INT32},
        {0x8002004F, "deflicker", TYPE_INT32},
        {0x80020050, "movie_portrait_type", TYPE_INT32},
    };
    return tags;
}

const std::vector<AppVendorTag>& statsTags()
{
    static const std::vector<AppVendorTag> tags = {
        {0x80030000, "3rd.info.awb_cct_value", TYPE_INT32},
        {0x80030001, "3rd.info.af_status", TYPE_INT32},
        {0x80030002, "3rd.info.lens_shift_mm", TYPE_FLOAT},
        {0x80030003, "3rd.info.object_distance_mm", TYPE_FLOAT},
        {0x80030004, "3rd.info.near_field_mm", TYPE_FLOAT},
        {0x80030005, "3rd.info.far_field_mm", TYPE_FLOAT},
        {0x80030006, "3rd.info.awbGains", TYPE_BYTE},
    };
    return tags;
}

const std::vector<AppVendorTag>& feedbackTags()
{
    static const std::vector<AppVendorTag> tags = {
        {0x80040000, "nextJpeg", TYPE_BYTE},
        {0x80040001, "sensor_fps", TYPE_FLOAT},
    };
    return tags;
}

// Every tag here is a float, the flags too: that is how they are published.
const std::vector<AppVendorTag>& parameterTags()
{
    static const std::vector<AppVendorTag> tags = {
        {0x80050000, "gyroData", TYPE_FLOAT},
        {0x80050001, "sceneAWBLightAI", TYPE_FLOAT},
        {0x80050002, "aec_settled", TYPE_FLOAT},
        {0x80050003, "vop.imagereadid", TYPE_FLOAT},
        {0x80050004, "crop_region_sat", TYPE_FLOAT},
        {0x80050005, "bandingDetectResult", TYPE_FLOAT},
        {0x80050006, "enableHwMFNR", TYPE_FLOAT},
        {0x80050007, "digitalzoom", TYPE_FLOAT},
        {0x80050008, "masterSatRole", TYPE_FLOAT},
        {0x80050009, "bandingHDR_needed", TYPE_FLOAT},
        {0x8005000A, "enableTOLVflickerDetect", TYPE_FLOAT},
        {0x8005000B, "ois.lens.buffer", TYPE_FLOAT},
    };
    return tags;
}

const std::vector<AppVendorTag>& statsAecTags()
{
    static const std::vector<AppVendorTag> tags = {
        {0x80060000, "AecLux", TYPE_FLOAT},
    };
    return tags;
}

const std::vector<AppVendorTag>& tamoControlTags()
{
    static const std::vector<AppVendorTag> tags = {
        {0x80070000, "cameraRole", TYPE_BYTE},
        {0x80070001, "cameraType", TYPE_BYTE},
    };
    return tags;
}

constexpr size_t kSectionCount = 7;

std::vector<AppVendorTagSection> buildVendorTagSections()
{
    const AppVendorTagSection temporaries[kSectionCount] = {
        {"com.tolv.chi.override", chiOverrideTags()},
        {"tolv.control", controlTags()},
        {"tolv.stats", statsTags()},
        {"tolv.feedback", feedbackTags()},
        {"tolv.parameter", parameterTags()},
        {"tolv.statsaec", statsAecTags()},
        {"tolv.tamo.control", tamoControlTags()},
    };
    std::vector<AppVendorTagSection> sections;
    sections.reserve(kSectionCount);
    for (const AppVendorTagSection& section : temporaries)
        sections.push_back(section);
    return sections;
}

// Section at position p owns 0x80000000 + ((p + 1) << 16) + tag position.
const std::vector<AppVendorTagSection>& getVendorTagSections()
{
    static const std::vector<AppVendorTagSection> sections = buildVendorTagSections();
    return sections;
}

bool isPlatformTag(uint32_t tag)
{
    return (tag >> 24) >= (kPlatformVendorTagStart >> 24);
}

// The framework section owning a tag number, by position; null past the end.
// Unsigned wrap-around sends every number outside 0x8001xxxx..0x8007xxxx
// past the end, standard tags included.
const AppVendorTagSection* frameworkSection(uint32_t tag)
{
    const auto& sections = getVendorTagSections();
    uint32_t position = (tag + 0x7FFF0000u) >> 16;
    return position < sections.size() ? &sections[position] : nullptr;
}

const AppVendorTag* frameworkTag(uint32_t tag)
{
    const AppVendorTagSection* section = frameworkSection(tag);
    if (section == nullptr)
        return nullptr;
    uint32_t position = tag & 0xFFFF;
    return position < section->tags.size() ? &section->tags[position] : nullptr;
}

const vendor_tag_ops_t kTamoVendorTagOps = {
    VendorTagDescriptorUtils::tamo_get_tag_count,
    VendorTagDescriptorUtils::tamo_get_all_tags,
    VendorTagDescriptorUtils::tamo_get_section_name,
    VendorTagDescriptorUtils::tamo_get_tag_name,
    VendorTagDescriptorUtils::tamo_get_tag_type,
    {},
};

struct LibraryCloser {
    void operator()(void* handle) const { dlclose(handle); }
};

const char* loaderError()
{
    const char* error = dlerror();
    return error != nullptr ? error : "unknown";
}

} // namespace

int VendorTagDescriptorUtils::tamo_get_tag_count(const vendor_tag_ops_t*)
{
    return 0;
}

void VendorTagDescriptorUtils::tamo_get_all_tags(const vendor_tag_ops_t*, uint32_t*)
{
}

const char* VendorTagDescriptorUtils::tamo_get_section_name(const vendor_tag_ops_t*, uint32_t tag)
{
    if (isPlatformTag(tag)) {
        auto descriptor = platform::IPlatformTagDescriptor::getInstance();
        return descriptor != nullptr ? descriptor->getSectionName(tag) : nullptr;
    }
    const AppVendorTagSection* section = frameworkSection(tag);
    return section != nullptr ? section->sectionName.c_str() : nullptr;
}

const char* VendorTagDescriptorUtils::tamo_get_tag_name(const vendor_tag_ops_t*, uint32_t tag)
{
    if (isPlatformTag(tag)) {
        auto descriptor = platform::IPlatformTagDescriptor::getInstance();
        return descriptor != nullptr ? descriptor->getTagName(tag) : nullptr;
    }
    const AppVendorTag* entry = frameworkTag(tag);
    return entry != nullptr ? entry->tagName.c_str() : nullptr;
}

int VendorTagDescriptorUtils::tamo_get_tag_type(const vendor_tag_ops_t*, uint32_t tag)
{
    if (isPlatformTag(tag)) {
        auto descriptor = platform::IPlatformTagDescriptor::getInstance();
        return descriptor != nullptr ? descriptor->getTagType(tag) : kUnknownTagType;
    }
    const AppVendorTag* entry = frameworkTag(tag);
    return entry != nullptr ? static_cast<int>(entry->tagType) : kUnknownTagType;
}

void VendorTagDescriptorUtils::setUpDescriptor()
{
    // The library is already mapped (we link it); this only finds the
    // installer without a link-time dependency on a hidden symbol.
    dlerror();
    std::unique_ptr<void, LibraryCloser> library(dlopen("libcamera_metadata.so", RTLD_NOW));
    if (library == nullptr) {
        TAMO_LOGE("Error open libcamera_metadata.so %s", loaderError());
        return;
    }
    using SetVendorOps = int (*)(const vendor_tag_ops_t*);
    auto setVendorOps = reinterpret_cast<SetVendorOps>(
        dlsym(library.get(), "set_camera_metadata_vendor_ops"));
    if (setVendorOps == nullptr) {
        TAMO_LOGE("Error dlsym %s", loaderError());
        return;
    }
    setVendorOps(&kTamoVendorTagOps);
}

void VendorTagUtils::getAllVendorTags(std::vector<AppVendorTagSection>& sections)
{
    std::lock_guard<std::mutex> guard(descriptor_lock);
    std::call_once(descriptor_flag, [] {
        TAMO_LOGI_IF_ENABLED("temp setup vendor_tag_ops_t for framework");
        VendorTagDescriptorUtils::setUpDescriptor();
    });

    auto environment = platform::IPlatformEnviron::getInstance();
    if (environment != nullptr)
        environment->appendVendorTagSections(sections);
    else
        TAMO_LOGE("no platform environment, platform vendor tags left out");
    // Counts of sections, whatever the wording says.
    TAMO_LOGI_IF_ENABLED("get %u tags from platform", static_cast<unsigned int>(sections.size()));

    const auto& own = getVendorTagSections();
    sections.insert(sections.end(), own.begin(), own.end());
    TAMO_LOGI_IF_ENABLED("get %u tags from tamo", static_cast<unsigned int>(own.size()));
}

std::shared_ptr<Metadata> StaticMetadataUtils::getCameraCharacteristics(unsigned int cameraId)
{
    std::lock_guard<std::mutex> guard(static_map_lock);
    return [cameraId]() -> std::shared_ptr<Metadata> {
        auto cached = staticMap.find(cameraId);
        if (cached != staticMap.end())
            return cached->second;

        auto environment = platform::IPlatformEnviron::getInstance();
        const camera_metadata* platformMeta =
            environment != nullptr ? environment->getStaticMetadata(cameraId) : nullptr;
        // The count does not check for NULL on a device; the append below
        // refuses a missing buffer with its log line.
        auto platformEntries = platformMeta != nullptr
                                       ? static_cast<unsigned int>(get_camera_metadata_entry_count(platformMeta))
                                       : 0u;

        std::shared_ptr<Metadata> characteristics = Metadata::create();
        if (characteristics == nullptr) {
            TAMO_LOGE("allocate fail");
            return nullptr;
        }
        // Five spare entries for the framework's tags; platforms keep their
        // static data within 800 bytes.
        characteristics->init(platformEntries + 5, 800);
        if (append_camera_metadata(characteristics->getFwkMetadata(), platformMeta) != 0) {
            TAMO_LOGE("updat Characteristics fail");
            return nullptr;
        }

        // Both values fit inside their entries, so no data bytes are needed.
        // Until the vendor tag callbacks are installed the library cannot
        // type these tags and the writes fail; that is accepted.
        if (cameraId < kLogicalCameras.size()) {
            const std::string& name = kLogicalCameras[cameraId].cameraName;
            characteristics->updateMetaDataByTag(FWK_VENDOR_TAG_CAMERA_TYPE, name.data(),
                                                 static_cast<unsigned int>(name.size()));
        }
        const uint8_t largeSizeThumbnail = 1;
        characteristics->updateMetaDataByTag(FWK_VENDOR_TAG_LARGE_SIZE_THUMBNAIL,
                                             &largeSizeThumbnail, 1);

        TAMO_LOGI_IF_ENABLED("[%u]static metadata entry: %u -> %u", cameraId, platformEntries,
                             static_cast<unsigned int>(get_camera_metadata_entry_count(
                                 characteristics->getFwkMetadata())));
        staticMap.emplace(cameraId, characteristics);
        return characteristics;
    }();
}

namespace {

bool present(const MetadataEntryData& entry)
{
    return static_cast<int32_t>(entry.count) >= 1;
}

// Zoom ratio of a crop region: its share of the active array's width, times
// the camera's maximum digital zoom. 1.0 when the characteristics cannot say.
float zoomRatioFor(const int32_t* cropRegion, unsigned int cameraId)
{
    std::shared_ptr<Metadata> characteristics = StaticMetadataUtils::getCameraCharacteristics(cameraId);
    if (characteristics == nullptr) {
        TAMO_LOGE("no characteristics for camera %u, zoom ratio 1.0", cameraId);
        return 1.0f;
    }
    MetadataEntryData activeArray =
        characteristics->getMetadataByTag(ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE);
    MetadataEntryData maxZoom =
        characteristics->getMetadataByTag(ANDROID_SCALER_AVAILABLE_MAX_DIGITAL_ZOOM);
    if (activeArray.data == nullptr || activeArray.count < 4 || maxZoom.data == nullptr ||
        maxZoom.count < 1 || static_cast<const int32_t*>(activeArray.data)[2] <= 0) {
        TAMO_LOGE("camera %u lacks active array size or max digital zoom, zoom ratio 1.0",
                  cameraId);
        return 1.0f;
    }
    float ratio = static_cast<float>(cropRegion[2]) /
                  static_cast<float>(static_cast<const int32_t*>(activeArray.data)[2]);
    return ratio * *static_cast<const float*>(maxZoom.data);
}

} // namespace

void VendorTagUtils::converter(std::shared_ptr<Metadata> metadata, unsigned int cameraId)
{
    if (metadata == nullptr) {
        TAMO_LOGE("no metadata to convert for camera %u", cameraId);
        return;
    }
    if (!present(metadata->getMetadataByTag(FWK_VENDOR_TAG_ZOOM_RATIO))) {
        float zoomRatio = 1.0f;
        MetadataEntryData crop = metadata->getMetadataByTag(ANDROID_SCALER_CROP_REGION);
        if (present(crop) && crop.count >= 4 && crop.data != nullptr)
            zoomRatio = zoomRatioFor(static_cast<const int32_t*>(crop.data), cameraId);
        metadata->updateMetaDataByTag(FWK_VENDOR_TAG_ZOOM_RATIO, &zoomRatio, 1);
    }
    if (!present(metadata->getMetadataByTag(FWK_VENDOR_TAG_CURRENT_MODE))) {
        const int32_t currentMode = 0;
        metadata->updateMetaDataByTag(FWK_VENDOR_TAG_CURRENT_MODE, &currentMode, 1);
    }
}

} // namespace tamo
