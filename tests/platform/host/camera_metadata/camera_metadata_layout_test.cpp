#include "CameraMetadataTestUtil.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <vector>

TEST(CameraMetadataLayout, SizesCapacitiesAndInlinePayloads) {
    EXPECT_EQ(calculate_camera_metadata_size(0, 0), 48u);
    EXPECT_EQ(calculate_camera_metadata_size(1, 1), 72u);
    EXPECT_EQ(calculate_camera_metadata_size(400, 180000), 186448u);
    EXPECT_EQ(calculate_camera_metadata_size(SIZE_MAX / 16, 0), SIZE_MAX);
    // The packet's size field is 32 bits wide.
    EXPECT_EQ(allocate_camera_metadata(UINT32_MAX, 0), nullptr);
    EXPECT_EQ(allocate_camera_metadata(0, UINT32_MAX), nullptr);

    MetadataPtr m = makeMetadata(3, 20);
    EXPECT_EQ(get_camera_metadata_entry_capacity(m.get()), 3u);
    EXPECT_EQ(get_camera_metadata_data_capacity(m.get()), 20u);
    EXPECT_EQ(get_camera_metadata_size(m.get()), 120u);
    EXPECT_EQ(get_camera_metadata_compact_size(m.get()), 48u);
    EXPECT_EQ(get_camera_metadata_size(nullptr), 1u);
    alignas(8) uint8_t storage[64];
    EXPECT_EQ(place_camera_metadata(storage, 63, 1, 0), nullptr);
    EXPECT_NE(place_camera_metadata(storage, 64, 1, 0), nullptr);

    const size_t dataSizes[][3] = {  // type, count, data-area bytes
        {TYPE_BYTE, 4, 0},  {TYPE_BYTE, 5, 8},      {TYPE_BYTE, 17, 24},
        {TYPE_INT32, 1, 0}, {TYPE_FLOAT, 3, 16},    {TYPE_INT64, 1, 8},
        {TYPE_DOUBLE, 3, 24}, {TYPE_RATIONAL, 1, 8}, {NUM_TYPES, 100, 0}};
    for (const auto& s : dataSizes) {
        EXPECT_EQ(calculate_camera_metadata_entry_data_size(s[0], s[1]), s[2]) << s[0] << "x" << s[1];
    }
}

// The packet another process builds for the three entries below.
static std::vector<uint8_t> platformPacket() {
    std::vector<uint8_t> p(120, 0);
    const uint32_t header[] = {120, 1, 0, 3, 3, 48, 24, 24, 96, 0, 0xFFFFFFFF, 0xFFFFFFFF};
    const uint32_t entries[] = {0x10003, 1, 1,  TYPE_BYTE,  0xD0000, 4, 0, TYPE_INT32,
                                0xE0000, 1, 16, TYPE_INT64};
    const uint32_t data[] = {0, 0, 640, 480, 33333333, 0};
    memcpy(p.data(), header, sizeof(header));
    memcpy(p.data() + 48, entries, sizeof(entries));
    memcpy(p.data() + 96, data, sizeof(data));
    return p;
}

TEST(CameraMetadataLayout, PacketMatchesThePlatformByteForByte) {
    MetadataPtr m = makeMetadata(3, 24);
    const uint8_t mode = 1;
    const int32_t crop[] = {0, 0, 640, 480};
    const int64_t exposure = 33333333;
    ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_MODE, &mode, 1), 0);
    ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, crop, 4), 0);
    ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_SENSOR_EXPOSURE_TIME, &exposure, 1), 0);
    const std::vector<uint8_t> expected = platformPacket();
    ASSERT_EQ(get_camera_metadata_size(m.get()), expected.size());
    EXPECT_EQ(0, memcmp(m.get(), expected.data(), expected.size()));

    // And a packet written elsewhere reads back the same here.
    ExactCopy foreign(expected.data(), expected.size());
    ASSERT_EQ(foreign.validate(), 0);
    camera_metadata_ro_entry_t e{};
    ASSERT_EQ(find_camera_metadata_ro_entry(foreign.get(), ANDROID_SCALER_CROP_REGION, &e), 0);
    EXPECT_EQ(e.data.i32[3], 480);
    ASSERT_EQ(find_camera_metadata_ro_entry(foreign.get(), ANDROID_SENSOR_EXPOSURE_TIME, &e), 0);
    EXPECT_EQ(e.data.i64[0], exposure);
}

TEST(CameraMetadataTags, TableMatchesTheTagList) {
    std::ifstream list(TAG_LIST_PATH);
    std::string line;
    ASSERT_TRUE(std::getline(list, line));
    const std::map<std::string, int> types = {{"byte", 0},  {"int32", 1},  {"float", 2},
                                              {"int64", 3}, {"double", 4}, {"rational", 5}};
    std::map<uint32_t, std::pair<uint32_t, uint32_t>> bounds;
    int rows = 0;
    for (; std::getline(list, line); ++rows) {
        std::istringstream fields(line);
        std::string number, section, name, type;
        fields >> number >> section >> name >> type;
        const uint32_t tag = std::stoul(number, nullptr, 16);
        EXPECT_STREQ(get_camera_metadata_section_name(tag), section.c_str()) << line;
        EXPECT_STREQ(get_camera_metadata_tag_name(tag), name.c_str()) << line;
        EXPECT_EQ(get_camera_metadata_tag_type(tag), types.at(type)) << line;
        bounds.try_emplace(tag >> 16, tag, tag).first->second.second = tag + 1;
    }
    EXPECT_EQ(rows, 256);
    ASSERT_EQ(bounds.size(), static_cast<size_t>(ANDROID_SECTION_COUNT));
    for (const auto& [section, b] : bounds) {
        EXPECT_EQ(camera_metadata_section_bounds[section][0], b.first);
        EXPECT_EQ(camera_metadata_section_bounds[section][1], b.second);
        EXPECT_EQ(get_camera_metadata_tag_type(b.second), -1);
    }
    EXPECT_EQ(VENDOR_SECTION_START, 0x80000000u);
    EXPECT_EQ(ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE, 0xF0000u);
    EXPECT_EQ(ANDROID_STATISTICS_OIS_X_SHIFTS, 0x110013u);
    EXPECT_STREQ(camera_metadata_section_names[ANDROID_FLASH_INFO], "android.flash.info");
}
