#include "CameraMetadataTestUtil.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <sstream>
#include <vector>

TEST(CameraMetadataLayout, SizesAndCapacitiesAreExact) {
    EXPECT_EQ(calculate_camera_metadata_size(0, 0), 48u);
    EXPECT_EQ(calculate_camera_metadata_size(1, 1), 72u);
    EXPECT_EQ(calculate_camera_metadata_size(3, 24), 120u);
    EXPECT_EQ(calculate_camera_metadata_size(400, 180000), 186448u);
    EXPECT_EQ(calculate_camera_metadata_size(SIZE_MAX / 16, 0), SIZE_MAX);
    EXPECT_EQ(get_camera_metadata_alignment(), 8u);

    MetadataPtr m = makeMetadata(3, 20);
    ASSERT_TRUE(m);
    EXPECT_EQ(get_camera_metadata_entry_capacity(m.get()), 3u);
    EXPECT_EQ(get_camera_metadata_data_capacity(m.get()), 20u);
    EXPECT_EQ(get_camera_metadata_entry_count(m.get()), 0u);
    EXPECT_EQ(get_camera_metadata_size(m.get()), 120u);
    EXPECT_EQ(get_camera_metadata_compact_size(m.get()), 48u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(m.get()) % 8, 0u);

    // The packet's size field is 32 bits wide.
    EXPECT_EQ(allocate_camera_metadata(UINT32_MAX, 0), nullptr);
    EXPECT_EQ(allocate_camera_metadata(0, UINT32_MAX), nullptr);

    EXPECT_EQ(get_camera_metadata_size(nullptr), 1u);
    EXPECT_EQ(get_camera_metadata_compact_size(nullptr), 1u);
    EXPECT_EQ(get_camera_metadata_entry_count(nullptr), 0u);
    EXPECT_EQ(get_camera_metadata_data_capacity(nullptr), 0u);

    alignas(8) uint8_t storage[72];
    EXPECT_EQ(place_camera_metadata(storage, 63, 1, 0), nullptr);
    EXPECT_EQ(place_camera_metadata(storage + 4, 64, 1, 0), nullptr);
    camera_metadata_t* placed = place_camera_metadata(storage, 64, 1, 0);
    ASSERT_NE(placed, nullptr);
    EXPECT_EQ(validate_camera_metadata_structure(placed, nullptr), 0);
}

TEST(CameraMetadataLayout, PayloadsUpToFourBytesLiveInTheEntry) {
    EXPECT_EQ(calculate_camera_metadata_entry_data_size(TYPE_BYTE, 4), 0u);
    EXPECT_EQ(calculate_camera_metadata_entry_data_size(TYPE_BYTE, 5), 8u);
    EXPECT_EQ(calculate_camera_metadata_entry_data_size(TYPE_BYTE, 17), 24u);
    EXPECT_EQ(calculate_camera_metadata_entry_data_size(TYPE_INT32, 1), 0u);
    EXPECT_EQ(calculate_camera_metadata_entry_data_size(TYPE_FLOAT, 3), 16u);
    EXPECT_EQ(calculate_camera_metadata_entry_data_size(TYPE_INT64, 1), 8u);
    EXPECT_EQ(calculate_camera_metadata_entry_data_size(TYPE_RATIONAL, 1), 8u);
    EXPECT_EQ(calculate_camera_metadata_entry_data_size(TYPE_DOUBLE, 3), 24u);
    EXPECT_EQ(calculate_camera_metadata_entry_data_size(NUM_TYPES, 100), 0u);

    const char* names[] = {"byte", "int32", "float", "int64", "double", "rational"};
    const size_t sizes[] = {1, 4, 4, 8, 8, 8};
    for (int t = 0; t < NUM_TYPES; ++t) {
        EXPECT_STREQ(camera_metadata_type_names[t], names[t]);
        EXPECT_EQ(camera_metadata_type_size[t], sizes[t]);
    }
}

// The packet another process would build for the same three entries.
static std::vector<uint8_t> platformPacket() {
    std::vector<uint8_t> p(120, 0);
    const uint32_t header[] = {120, 1, 0, 3, 3, 48, 24, 24, 96, 0, 0xFFFFFFFF, 0xFFFFFFFF};
    for (size_t i = 0; i < 12; ++i) setU32(p.data(), i * 4, header[i]);
    const uint32_t entries[][4] = {{0x10003, 1, 1, TYPE_BYTE},
                                   {0xD0000, 4, 0, TYPE_INT32},
                                   {0xE0000, 1, 16, TYPE_INT64}};
    for (size_t i = 0; i < 3; ++i) {
        for (size_t f = 0; f < 4; ++f) setU32(p.data(), 48 + i * 16 + f * 4, entries[i][f]);
    }
    const int32_t crop[] = {0, 0, 640, 480};
    const int64_t exposure = 33333333;
    memcpy(p.data() + 96, crop, sizeof(crop));
    memcpy(p.data() + 112, &exposure, sizeof(exposure));
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

    std::vector<uint8_t> expected = platformPacket();
    ASSERT_EQ(get_camera_metadata_size(m.get()), expected.size());
    EXPECT_EQ(0, memcmp(m.get(), expected.data(), expected.size()));

    // And a packet written elsewhere reads back the same here.
    ExactCopy foreign(expected.data(), expected.size());
    ASSERT_EQ(foreign.validate(), 0);
    camera_metadata_ro_entry_t e{};
    ASSERT_EQ(find_camera_metadata_ro_entry(foreign.get(), ANDROID_SCALER_CROP_REGION, &e), 0);
    EXPECT_EQ(e.index, 1u);
    EXPECT_EQ(e.count, 4u);
    EXPECT_EQ(e.data.i32[3], 480);
    ASSERT_EQ(find_camera_metadata_ro_entry(foreign.get(), ANDROID_SENSOR_EXPOSURE_TIME, &e), 0);
    EXPECT_EQ(e.data.i64[0], exposure);
    ASSERT_EQ(find_camera_metadata_ro_entry(foreign.get(), ANDROID_CONTROL_AE_MODE, &e), 0);
    EXPECT_EQ(e.data.u8[0], 1);
}

TEST(CameraMetadataTags, TableMatchesTheTagList) {
    std::ifstream list(TAG_LIST_PATH);
    ASSERT_TRUE(list.good());
    std::string line;
    std::getline(list, line);
    const std::map<std::string, int> types = {{"byte", 0},  {"int32", 1},  {"float", 2},
                                              {"int64", 3}, {"double", 4}, {"rational", 5}};
    std::map<uint32_t, std::pair<uint32_t, uint32_t>> bounds;
    int rows = 0;
    while (std::getline(list, line)) {
        std::istringstream fields(line);
        std::string number, section, name, type;
        std::getline(fields, number, '\t');
        std::getline(fields, section, '\t');
        std::getline(fields, name, '\t');
        std::getline(fields, type, '\t');
        const uint32_t tag = std::stoul(number, nullptr, 16);
        SCOPED_TRACE(line);
        EXPECT_STREQ(get_camera_metadata_section_name(tag), section.c_str());
        EXPECT_STREQ(get_camera_metadata_tag_name(tag), name.c_str());
        EXPECT_EQ(get_camera_metadata_tag_type(tag), types.at(type));
        auto& b = bounds.try_emplace(tag >> 16, tag, tag).first->second;
        b.second = tag + 1;
        ++rows;
    }
    EXPECT_EQ(rows, 256);
    ASSERT_EQ(bounds.size(), static_cast<size_t>(ANDROID_SECTION_COUNT));
    for (const auto& [section, b] : bounds) {
        EXPECT_EQ(camera_metadata_section_bounds[section][0], b.first);
        EXPECT_EQ(camera_metadata_section_bounds[section][1], b.second);
        EXPECT_EQ(get_camera_metadata_tag_type(b.second), -1);
        EXPECT_EQ(get_camera_metadata_tag_name(b.second), nullptr);
    }

    EXPECT_EQ(ANDROID_SECTION_COUNT, 30);
    EXPECT_EQ(ANDROID_FLASH_INFO_START, 5u << 16);
    EXPECT_EQ(VENDOR_SECTION_START, 0x80000000u);
    EXPECT_EQ(ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE, 0xF0000u);
    EXPECT_EQ(ANDROID_STATISTICS_OIS_X_SHIFTS, 0x110013u);
    EXPECT_EQ(ANDROID_SENSOR_REFERENCE_ILLUMINANT1 + 1, ANDROID_SENSOR_REFERENCE_ILLUMINANT2);
    EXPECT_EQ(ANDROID_HEIC_INFO_END, ANDROID_HEIC_INFO_START + 2);
    EXPECT_STREQ(camera_metadata_section_names[ANDROID_FLASH_INFO], "android.flash.info");
    EXPECT_EQ(get_camera_metadata_section_name(ANDROID_SECTION_COUNT << 16), nullptr);
    EXPECT_EQ(get_camera_metadata_tag_type(ANDROID_SECTION_COUNT << 16), -1);
}
