/*
 * The framework's vendor tags: their registration with the camera metadata
 * library, the listing of every vendor tag section (platform and framework),
 * and the per-camera static characteristics completed with framework tags.
 */
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <system/camera_vendor_tags.h>
#include <tamo_platform/AppVendorTag.h>

namespace tamo {

class Metadata;

using platform::AppVendorTag;
using platform::AppVendorTagSection;

// Framework tags that the library itself reads or writes.
enum FWK_VENDOR_TAG : uint32_t {
    FWK_VENDOR_TAG_CAMERA_TYPE = 0x80010000,          // com.tolv.chi.override.CameraType
    FWK_VENDOR_TAG_LARGE_SIZE_THUMBNAIL = 0x80010001, // com.tolv.chi.override.LargeSizeThumbnail
    FWK_VENDOR_TAG_CURRENT_MODE = 0x80020000,         // tolv.control.currentMode
    FWK_VENDOR_TAG_ZOOM_RATIO = 0x80020009,           // tolv.control.zoom_ratio
    FWK_VENDOR_TAG_NEXT_JPEG = 0x80040000,            // tolv.feedback.nextJpeg
};

// Tag numbers from here up belong to the platform layer.
constexpr uint32_t kPlatformVendorTagStart = 0x81000000;

// Tuning identity of a camera id.
enum SENSOR_ID : uint32_t {
    SENSOR_ID_REAR_MAIN = 0,
    SENSOR_ID_FRONT_MAIN = 1,
    SENSOR_ID_REAR_ULTRA_WIDE = 2,
    SENSOR_ID_REAR_TELE = 3,
    SENSOR_ID_REAR_MULTI = 4,
};

// One logical camera of the device: its id, its name (written into its
// characteristics as CameraType) and, for a multi-camera, its members.
struct LogicalCameraInfo {
    uint32_t cameraId;
    std::string cameraName;
    std::vector<uint32_t> memberIds;
};

// The callbacks handed to the camera metadata library. They name and type
// tags only: the count is 0 and the enumeration empty, on purpose.
class VendorTagDescriptorUtils {
public:
    static int tamo_get_tag_count(const vendor_tag_ops_t* v);
    static void tamo_get_all_tags(const vendor_tag_ops_t* v, uint32_t* tagArray);
    static const char* tamo_get_section_name(const vendor_tag_ops_t* v, uint32_t tag);
    static const char* tamo_get_tag_name(const vendor_tag_ops_t* v, uint32_t tag);
    static int tamo_get_tag_type(const vendor_tag_ops_t* v, uint32_t tag);

private:
    friend class VendorTagUtils;
    // Installs the callbacks into the camera metadata library; once per process.
    static void setUpDescriptor();
};

class VendorTagUtils {
public:
    // Appends the platform's sections, then the framework's seven. The first
    // call of the process also installs the callbacks above.
    static void getAllVendorTags(std::vector<AppVendorTagSection>& sections);

    // Gives a request's metadata its zoom ratio and current mode when it has
    // none; the zoom ratio follows the crop region and the characteristics.
    static void converter(std::shared_ptr<Metadata> metadata, unsigned int cameraId);

    static std::once_flag descriptor_flag;
    static std::mutex descriptor_lock;
};

class StaticMetadataUtils {
public:
    // The camera's characteristics, built once and shared by every caller,
    // who must not change them; empty when they could not be built.
    static std::shared_ptr<Metadata> getCameraCharacteristics(unsigned int cameraId);

    static std::map<uint32_t, std::shared_ptr<Metadata>> staticMap;
    static std::mutex static_map_lock;
};

} // namespace tamo
