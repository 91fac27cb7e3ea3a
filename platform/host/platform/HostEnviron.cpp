/*
 * Default environment: the stand-in platform's vendor tags and the static
 * metadata of a device with five physical cameras (rear main, front, rear
 * ultra-wide, rear depth, rear tele) and four logical multi-cameras built
 * from them. Buffers are made once, compact, and freed with the environment.
 */
#include <tamo_platform/HostPlatform.h>

#include <array>
#include <string>
#include <vector>

#include <system/camera_metadata.h>

#include "HostVendorTags.h"

namespace tamo::platform::host {

namespace {

// Short names, in the entries' own types, for the enumerators used below.
constexpr uint8_t kFacingFront = ANDROID_LENS_FACING_FRONT;
constexpr uint8_t kFacingBack = ANDROID_LENS_FACING_BACK;
constexpr uint8_t kHardwareLevelFull = ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_FULL;
constexpr uint8_t kCapabilityBackwardCompatible = ANDROID_REQUEST_AVAILABLE_CAPABILITIES_BACKWARD_COMPATIBLE;
constexpr uint8_t kCapabilityLogicalMultiCamera = ANDROID_REQUEST_AVAILABLE_CAPABILITIES_LOGICAL_MULTI_CAMERA;
constexpr uint8_t kSensorSyncCalibrated = ANDROID_LOGICAL_MULTI_CAMERA_SENSOR_SYNC_TYPE_CALIBRATED;
constexpr int32_t kFormatBlob = ANDROID_SCALER_AVAILABLE_FORMATS_BLOB;
constexpr int32_t kFormatPrivate = ANDROID_SCALER_AVAILABLE_FORMATS_IMPLEMENTATION_DEFINED;
constexpr int32_t kFormatYuv420 = ANDROID_SCALER_AVAILABLE_FORMATS_YCbCr_420_888;
constexpr int32_t kStreamOutput = ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS_OUTPUT;

struct CameraModel {
    uint8_t facing;
    int32_t orientation;
    int32_t width;          // active array
    int32_t height;
    int32_t border;         // pixels of the pixel array around the active array
    float maxDigitalZoom;
    float focalLength;
    std::vector<uint32_t> physicalIds; // empty for a physical camera
};

const std::array<CameraModel, kHostCameraCount>& cameraModels()
{
    static const std::array<CameraModel, kHostCameraCount> models = {{
        {kFacingBack, 90, 4000, 3000, 8, 8.0f, 4.71f, {}},     // 0: rear main
        {kFacingFront, 270, 3264, 2448, 8, 4.0f, 3.23f, {}},   // 1: front
        {kFacingBack, 90, 3264, 2448, 8, 4.0f, 2.20f, {}},     // 2: rear ultra-wide
        {kFacingBack, 90, 1600, 1200, 8, 2.0f, 2.52f, {}},     // 3: rear depth
        {kFacingBack, 90, 3264, 2448, 8, 10.0f, 9.00f, {}},    // 4: rear tele
        {kFacingBack, 90, 4000, 3000, 8, 8.0f, 4.71f, {0, 2}},    // 5: main + ultra-wide
        {kFacingBack, 90, 4000, 3000, 8, 10.0f, 4.71f, {3, 0, 4}}, // 6: depth + main + tele
        {kFacingBack, 90, 3264, 2448, 8, 10.0f, 9.00f, {4, 3}},    // 7: tele + depth
        {kFacingBack, 90, 4000, 3000, 8, 10.0f, 4.71f, {4, 0}},    // 8: tele + main
    }};
    return models;
}

class MetadataBuilder {
public:
    MetadataBuilder() : mBuffer(allocate_camera_metadata(kEntries, kData)) {}
    ~MetadataBuilder() { free_camera_metadata(mBuffer); }
    MetadataBuilder(const MetadataBuilder&) = delete;
    MetadataBuilder& operator=(const MetadataBuilder&) = delete;

    template <typename T>
    void add(uint32_t tag, const std::vector<T>& values)
    {
        if (mBuffer != nullptr &&
            add_camera_metadata_entry(mBuffer, tag, values.data(), values.size()) != 0) {
            free_camera_metadata(mBuffer);
            mBuffer = nullptr;
        }
    }

    // A compact copy, owned by the caller; null when something did not fit.
    camera_metadata* finish()
    {
        if (mBuffer == nullptr)
            return nullptr;
        sort_camera_metadata(mBuffer);
        return clone_camera_metadata(mBuffer);
    }

private:
    static constexpr size_t kEntries = 32;
    static constexpr size_t kData = 1024;
    camera_metadata* mBuffer;
};

camera_metadata* buildStaticMetadata(const CameraModel& m)
{
    MetadataBuilder b;
    b.add<uint8_t>(ANDROID_LENS_FACING, {m.facing});
    b.add<float>(ANDROID_LENS_INFO_AVAILABLE_FOCAL_LENGTHS, {m.focalLength});
    b.add<int32_t>(ANDROID_SENSOR_ORIENTATION, {m.orientation});
    b.add<int32_t>(ANDROID_SENSOR_INFO_PIXEL_ARRAY_SIZE,
                   {m.width + 2 * m.border, m.height + 2 * m.border});
    b.add<int32_t>(ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE, {m.border, m.border, m.width, m.height});
    b.add<float>(ANDROID_SCALER_AVAILABLE_MAX_DIGITAL_ZOOM, {m.maxDigitalZoom});
    b.add<int32_t>(ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS,
                   {
                       kFormatBlob, m.width, m.height, kStreamOutput,
                       kFormatYuv420, m.width, m.height, kStreamOutput,
                       kFormatPrivate, 1920, 1080, kStreamOutput,
                       kFormatYuv420, 1920, 1080, kStreamOutput,
                       kFormatPrivate, 1280, 720, kStreamOutput,
                       kFormatYuv420, 640, 480, kStreamOutput,
                   });
    b.add<uint8_t>(ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL, {kHardwareLevelFull});
    if (m.physicalIds.empty()) {
        b.add<uint8_t>(ANDROID_REQUEST_AVAILABLE_CAPABILITIES, {kCapabilityBackwardCompatible});
    } else {
        b.add<uint8_t>(ANDROID_REQUEST_AVAILABLE_CAPABILITIES,
                       {kCapabilityBackwardCompatible, kCapabilityLogicalMultiCamera});
        // Physical ids as consecutive zero-terminated strings.
        std::vector<uint8_t> ids;
        for (uint32_t id : m.physicalIds) {
            std::string text = std::to_string(id);
            ids.insert(ids.end(), text.begin(), text.end());
            ids.push_back('\0');
        }
        b.add<uint8_t>(ANDROID_LOGICAL_MULTI_CAMERA_PHYSICAL_IDS, ids);
        b.add<uint8_t>(ANDROID_LOGICAL_MULTI_CAMERA_SENSOR_SYNC_TYPE, {kSensorSyncCalibrated});
    }
    return b.finish();
}

class HostEnviron : public IPlatformEnviron {
public:
    HostEnviron()
    {
        for (uint32_t id = 0; id < kHostCameraCount; id++)
            mStatic[id] = buildStaticMetadata(cameraModels()[id]);
    }

    ~HostEnviron() override
    {
        for (camera_metadata* buffer : mStatic)
            free_camera_metadata(buffer);
    }

    HostEnviron(const HostEnviron&) = delete;
    HostEnviron& operator=(const HostEnviron&) = delete;

    void appendVendorTagSections(std::vector<AppVendorTagSection>& sections) override
    {
        const auto& own = hostVendorTagSections();
        sections.insert(sections.end(), own.begin(), own.end());
    }

    const camera_metadata* getStaticMetadata(uint32_t cameraId) override
    {
        return cameraId < mStatic.size() ? mStatic[cameraId] : nullptr;
    }

private:
    std::array<camera_metadata*, kHostCameraCount> mStatic{};
};

} // namespace

std::shared_ptr<IPlatformEnviron> createHostEnviron()
{
    return std::make_shared<HostEnviron>();
}

} // namespace tamo::platform::host
