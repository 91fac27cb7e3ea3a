/*
 * The characteristics cache, the request converter, and dumps of framework
 * tags. The cache is process-wide and never emptied, so each test owns the
 * camera ids it builds; the host defaults serve cameras 0-8.
 */
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <TamoLogCapture.h>
#include <tamo/Metadata.h>
#include <tamo/VendorTag.h>

#include "PlatformFakes.h"
#include "metadata/VendorTagMgr.h"

using namespace tamo;
using namespace tamo::test;
using tamo::host::LogCapture;

namespace {

constexpr uint32_t kCameraType = 0x80010000;
constexpr uint32_t kLargeSizeThumbnail = 0x80010001;
constexpr uint32_t kCurrentMode = 0x80020000;
constexpr uint32_t kZoomRatio = 0x80020009;

class StaticMetadataTest : public ::testing::Test {
protected:
    // Framework tags can be written only once the library can type them.
    void SetUp() override
    {
        std::vector<AppVendorTagSection> sections;
        VendorTagUtils::getAllVendorTags(sections);
    }
};

std::string cameraType(const std::shared_ptr<Metadata>& m)
{
    MetadataEntryData e = m->getMetadataByTag(kCameraType);
    return e.data != nullptr ? std::string(static_cast<const char*>(e.data), e.count) : "<absent>";
}

template <typename T>
T value(const std::shared_ptr<Metadata>& m, uint32_t tag)
{
    MetadataEntryData e = m->getMetadataByTag(tag);
    EXPECT_EQ(e.count, 1u) << std::hex << tag;
    return e.data != nullptr ? *static_cast<const T*>(e.data) : T(-1);
}

// A request, with a crop region of the given width when it is not 0.
std::shared_ptr<Metadata> request(int32_t cropWidth = 0)
{
    std::shared_ptr<Metadata> m = Metadata::create();
    m->init(8, 64);
    const int32_t crop[4] = {0, 0, cropWidth, 1500};
    if (cropWidth != 0)
        m->updateMetaDataByTag(ANDROID_SCALER_CROP_REGION, crop, 4);
    return m;
}

} // namespace

TEST(CameraTables, LogicalCamerasAndSensorIds)
{
    const std::vector<std::vector<uint32_t>> members = {{}, {}, {}, {}, {}, {0, 2}, {3, 0, 4}, {4, 3}, {4, 0}};
    ASSERT_EQ(logicalCameraTable().size(), members.size());
    for (uint32_t id = 0; id < members.size(); id++) {
        EXPECT_EQ(logicalCameraTable()[id].cameraId, id);
        EXPECT_EQ(logicalCameraTable()[id].memberIds, members[id]);
    }
    EXPECT_EQ(sensorIdMap(), (std::map<uint32_t, SENSOR_ID>{{0, SENSOR_ID(0)}, {1, SENSOR_ID(1)}, {2, SENSOR_ID(2)},
                                                             {4, SENSOR_ID(3)}, {5, SENSOR_ID(4)}}));
}

// Camera 7 is left to the entry-count test.
TEST_F(StaticMetadataTest, HostCamerasGetNameAndThumbnailFlagWithinTheirCapacity)
{
    auto host = platform::host::createHostEnviron();
    for (uint32_t id : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 8u}) {
        SCOPED_TRACE(id);
        std::shared_ptr<Metadata> m = StaticMetadataUtils::getCameraCharacteristics(id);
        ASSERT_NE(m, nullptr);
        size_t n = get_camera_metadata_entry_count(host->getStaticMetadata(id));
        EXPECT_EQ(cameraType(m), "cam" + std::to_string(id));
        EXPECT_EQ(value<uint8_t>(m, kLargeSizeThumbnail), 1);
        EXPECT_EQ(get_camera_metadata_entry_count(m->getFwkMetadata()), n + 2);
        EXPECT_EQ(get_camera_metadata_entry_capacity(m->getFwkMetadata()), n + 5);
        EXPECT_EQ(get_camera_metadata_data_capacity(m->getFwkMetadata()), 800u);
    }
    EXPECT_EQ(StaticMetadataUtils::getCameraCharacteristics(6)->getMetadataByTag(kCameraType).count, 4u);
}

TEST_F(StaticMetadataTest, EntryCountMessageCountsTheFrameworkTags)
{
    auto environment = std::make_shared<FakeEnviron>();
    for (uint32_t id : {7u, 9u, 21u})
        environment->serve(id, makeInlineBuffer(120));
    PlatformGuard guard(environment);
    LogCapture capture;
    LogLevelGuard level(2);

    std::shared_ptr<Metadata> named = StaticMetadataUtils::getCameraCharacteristics(7);
    std::shared_ptr<Metadata> unnamed = StaticMetadataUtils::getCameraCharacteristics(9);
    ASSERT_TRUE(named && unnamed);
    EXPECT_EQ(cameraType(named), "cam7");
    EXPECT_EQ(cameraType(unnamed), "<absent>"); // past the logical camera table
    EXPECT_EQ(value<uint8_t>(unnamed, kLargeSizeThumbnail), 1);
    g_logLv = 1;
    ASSERT_NE(StaticMetadataUtils::getCameraCharacteristics(21), nullptr);

    auto lines = capture.withFormat("[%u]static metadata entry: %u -> %u", 2);
    ASSERT_EQ(lines.size(), 2u); // none for camera 21: gated on level 2
    EXPECT_EQ(lines[0].message, "[7]static metadata entry: 120 -> 122");
    EXPECT_EQ(lines[1].message, "[9]static metadata entry: 120 -> 121");
    EXPECT_EQ(lines[0].function, "operator()");
}

TEST_F(StaticMetadataTest, BuiltOnceUnderTheLockAndShared)
{
    auto environment = std::make_shared<FakeEnviron>();
    environment->serve(20, makeInlineBuffer(10));
    std::atomic<bool> locked{false};
    environment->onCall = [&] { locked = heldElsewhere(StaticMetadataUtils::static_map_lock); };
    PlatformGuard guard(environment);

    std::shared_ptr<Metadata> first = StaticMetadataUtils::getCameraCharacteristics(20);
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(locked);
    EXPECT_EQ(StaticMetadataUtils::getCameraCharacteristics(20), first);
    EXPECT_EQ(StaticMetadataUtils::staticMap.at(20), first);
    EXPECT_EQ(environment->staticCalls, 1);
}

TEST_F(StaticMetadataTest, ConcurrentFirstCallersShareOneBuild)
{
    auto environment = std::make_shared<FakeEnviron>();
    environment->serve(30, makeInlineBuffer(10));
    environment->onCall = [] { std::this_thread::sleep_for(std::chrono::milliseconds(20)); };
    PlatformGuard guard(environment);

    constexpr int kThreads = 8;
    std::atomic<int> ready{0};
    std::vector<std::shared_ptr<Metadata>> results(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++) {
        threads.emplace_back([&, t] {
            for (ready++; ready < kThreads;)
                std::this_thread::yield();
            results[t] = StaticMetadataUtils::getCameraCharacteristics(30);
        });
    }
    for (auto& thread : threads)
        thread.join();
    ASSERT_NE(results[0], nullptr);
    for (const auto& result : results)
        EXPECT_EQ(result, results[0]);
    EXPECT_EQ(environment->staticCalls, 1);
}

TEST_F(StaticMetadataTest, FailedBuildsAreNotCachedAndAreRetried)
{
    auto environment = std::make_shared<FakeEnviron>();
    PlatformGuard guard(environment);
    LogCapture capture;

    EXPECT_EQ(StaticMetadataUtils::getCameraCharacteristics(31), nullptr); // nothing served yet
    auto errors = capture.withFormat("updat Characteristics fail", 0);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].function, "operator()");
    environment->serve(31, makeInlineBuffer(10));
    std::shared_ptr<Metadata> retried = StaticMetadataUtils::getCameraCharacteristics(31);
    EXPECT_NE(retried, nullptr);
    EXPECT_EQ(StaticMetadataUtils::getCameraCharacteristics(31), retried);
    EXPECT_EQ(environment->staticCalls, 2);

    // 800 data bytes are all the cache has room for.
    for (uint32_t bytes : {800u, 808u}) {
        MetadataBuffer buffer(allocate_camera_metadata(1, bytes));
        std::vector<uint8_t> payload(bytes, '7');
        add_camera_metadata_entry(buffer.get(), ANDROID_LOGICAL_MULTI_CAMERA_PHYSICAL_IDS,
                                  payload.data(), payload.size());
        environment->serve(bytes, std::move(buffer));
    }
    EXPECT_NE(StaticMetadataUtils::getCameraCharacteristics(800), nullptr);
    EXPECT_EQ(StaticMetadataUtils::getCameraCharacteristics(808), nullptr);
    platform::host::installEnviron(nullptr);
    EXPECT_EQ(StaticMetadataUtils::getCameraCharacteristics(34), nullptr);
    EXPECT_EQ(capture.count("updat Characteristics fail", 0), 3u);
}

TEST_F(StaticMetadataTest, ConverterFillsZoomRatioAndCurrentMode)
{
    // Host camera 0: a 4000-pixel-wide active array, maximum digital zoom 8.
    std::shared_ptr<Metadata> plain = request();
    VendorTagUtils::converter(plain, 0);
    EXPECT_EQ(value<float>(plain, kZoomRatio), 1.0f);
    EXPECT_EQ(value<int32_t>(plain, kCurrentMode), 0);

    std::shared_ptr<Metadata> cropped = request(2000);
    VendorTagUtils::converter(cropped, 0);
    EXPECT_EQ(value<float>(cropped, kZoomRatio), 4.0f);

    // Values already there stay, whatever the crop region says.
    const int32_t mode = 7;
    cropped->updateMetaDataByTag(kCurrentMode, &mode, 1);
    const int32_t crop[4] = {0, 0, 1000, 750};
    cropped->updateMetaDataByTag(ANDROID_SCALER_CROP_REGION, crop, 4);
    VendorTagUtils::converter(cropped, 0);
    EXPECT_EQ(value<float>(cropped, kZoomRatio), 4.0f);
    EXPECT_EQ(value<int32_t>(cropped, kCurrentMode), 7);
}

TEST_F(StaticMetadataTest, ConverterWithoutUsableCharacteristicsKeepsZoomOne)
{
    auto environment = std::make_shared<FakeEnviron>();
    environment->serve(41, makeInlineBuffer(4)); // neither active array nor max zoom
    PlatformGuard guard(environment);
    LogCapture capture;

    std::shared_ptr<Metadata> unknown = request(2000), incomplete = request(2000);
    VendorTagUtils::converter(unknown, 40);
    VendorTagUtils::converter(incomplete, 41);
    VendorTagUtils::converter(nullptr, 0);
    EXPECT_EQ(value<float>(unknown, kZoomRatio), 1.0f);
    EXPECT_EQ(value<float>(incomplete, kZoomRatio), 1.0f);
    EXPECT_EQ(value<int32_t>(incomplete, kCurrentMode), 0);
    EXPECT_TRUE(capture.hasMessage("no characteristics for camera 40, zoom ratio 1.0"));
    EXPECT_TRUE(capture.hasMessage("camera 41 lacks active array size or max digital zoom, zoom ratio 1.0"));
    EXPECT_TRUE(capture.hasMessage("no metadata to convert for camera 0"));
}

TEST_F(StaticMetadataTest, DumpNamesFrameworkTagsAndRendersTheSpecialOnes)
{
    std::shared_ptr<Metadata> m = request();
    const uint8_t on = 1, off = 0;
    const float zoom = 4.0f;
    const int32_t sensorMode = 3;
    ASSERT_TRUE(m->updateMetaDataByTag(kCameraType, "cam6", 4));
    ASSERT_TRUE(m->updateMetaDataByTag(kLargeSizeThumbnail, &on, 1));
    ASSERT_TRUE(m->updateMetaDataByTag(0x80040000, &off, 1)); // nextJpeg
    ASSERT_TRUE(m->updateMetaDataByTag(kZoomRatio, &zoom, 1));
    ASSERT_TRUE(m->updateMetaDataByTag(0x81000000, &sensorMode, 1)); // the host platform's

    LogCapture capture;
    LogLevelGuard level(3);
    m->dump();
    std::vector<std::string> lines;
    for (const auto& record : capture.records())
        if (record.format != "Dumping %u entries")
            lines.push_back(record.message);
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "\tcom.tolv.chi.override.CameraType (80010000) : byte[4]",
                         "\t\t[ cam6 ]",
                         "\tcom.tolv.chi.override.LargeSizeThumbnail (80010001) : byte[1]",
                         "\t\t[ TRUE ]",
                         "\ttolv.feedback.nextJpeg (80040000) : byte[1]",
                         "\t\t[ FALSE ]",
                         "\ttolv.control.zoom_ratio (80020009) : float[1]",
                         "\t\t[ 4.000000 ]",
                         "\tcom.tamo.platform.sensor.sensorModeId (81000000) : int32[1]",
                         "\t\t[ 3 ]",
                     }));
    std::string out;
    m->dumpByTag(kZoomRatio, out);
    EXPECT_EQ(out, "Tag:tolv.control.zoom_ratio Type:float\t[ 4.000000 ], \n");
}
