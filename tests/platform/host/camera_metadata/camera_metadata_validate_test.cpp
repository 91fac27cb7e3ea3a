#include "CameraMetadataTestUtil.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// 3 of 4 entries, 24 of 32 data bytes: 144 bytes, data at 112.
std::vector<uint8_t> basePacket() {
    MetadataPtr m = makeMetadata(4, 32);
    const int32_t crop[] = {0, 0, 640, 480};
    const int64_t exposure = 33333333;
    const uint8_t mode = 1;
    add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, crop, 4);
    add_camera_metadata_entry(m.get(), ANDROID_SENSOR_EXPOSURE_TIME, &exposure, 1);
    add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_MODE, &mode, 1);
    const uint8_t* p = reinterpret_cast<const uint8_t*>(m.get());
    return std::vector<uint8_t>(p, p + get_camera_metadata_size(m.get()));
}

}  // namespace

TEST(CameraMetadataValidate, AcceptsPacketsWithinTheirSizeAndFlagsShiftedOnes) {
    const std::vector<uint8_t> base = basePacket();
    ASSERT_EQ(base.size(), 144u);
    ExactCopy good(base.data(), base.size());
    EXPECT_EQ(good.validate(), 0);
    ExactCopy headerOnly(base.data(), 47);
    EXPECT_EQ(headerOnly.validate(), 1);
    EXPECT_EQ(validate_camera_metadata_structure(nullptr, nullptr), 1);
    ExactCopy shifted(base.data(), base.size(), 4);
    EXPECT_EQ(shifted.validate(), CAMERA_METADATA_VALIDATION_SHIFTED);

    MetadataPtr copy(allocate_copy_camera_metadata_checked(good.get(), good.size));
    ASSERT_TRUE(copy);
    EXPECT_EQ(0, memcmp(copy.get(), base.data(), base.size()));
    EXPECT_EQ(allocate_copy_camera_metadata_checked(good.get(), 100), nullptr);
}

TEST(CameraMetadataValidate, RejectsEveryCorruptHeaderFieldAndEntry) {
    const std::vector<uint8_t> base = basePacket();
    const uint32_t cases[][2] = {  // {byte offset, value}
        {0, 145}, {0, 136},                                // size past the buffer or the data
        {12, 5}, {24, 33},                                 // counts beyond capacities
        {20, 40}, {16, 5}, {16, 0x10000000},               // entries misplaced or wrapping
        {32, 104}, {32, 120}, {28, 0xFFFFFFF8},            // data area misplaced or wrapping
        {60, NUM_TYPES}, {92, TYPE_INT32},                 // unknown type, not the tag's type
        {80, ANDROID_SECTION_COUNT << 16}, {80, ANDROID_CONTROL_END},  // unknown tags
        {56, 16}, {72, 12}, {52, 0x40000000}, {68, 0xFFFFFFFF},  // payload outside used data
        {24, 25},                                          // data count off the 8-byte grid
    };
    for (const auto& c : cases) {
        ExactCopy bad(base.data(), base.size());
        setU32(bad.get(), c[0], c[1]);
        EXPECT_EQ(bad.validate(), CAMERA_METADATA_VALIDATION_ERROR) << c[0] << " = " << c[1];
    }
    // Payloads aligned where they are, in a data area that starts off the
    // grid: a copy, which starts it on the grid, would misalign them.
    ExactCopy offGrid(base.data(), base.size());
    for (auto f : {std::pair<size_t, uint32_t>{32, 116}, {28, 28}, {56, 4}, {72, 12}})
        setU32(offGrid.get(), f.first, f.second);
    EXPECT_EQ(offGrid.validate(), CAMERA_METADATA_VALIDATION_ERROR);
    setU32(offGrid.get(), 32, 112);  // on the grid, the same payloads pass
    setU32(offGrid.get(), 56, 0);
    setU32(offGrid.get(), 72, 16);
    EXPECT_EQ(offGrid.validate(), 0);
    // Misaligned entries, though none is in use and the array fits.
    ExactCopy odd(base.data(), base.size());
    for (auto f : {std::pair<size_t, uint32_t>{12, 0}, {24, 0}, {16, 3}, {20, 50}}) {
        setU32(odd.get(), f.first, f.second);
    }
    EXPECT_EQ(odd.validate(), CAMERA_METADATA_VALIDATION_ERROR);
    // Vendor tags are not checked against a table.
    ExactCopy vendor(base.data(), base.size());
    setU32(vendor.get(), 80, 0x80010002);
    EXPECT_EQ(vendor.validate(), 0);
}

TEST(CameraMetadataValidate, OperationsOnValidatedPacketsStayInside) {
    // A valid packet laid out differently: 8 spare bytes before the entries
    // and 8 before the data.
    std::vector<uint8_t> bytes = basePacket();
    bytes.insert(bytes.begin() + 112, 8, 0);
    bytes.insert(bytes.begin() + 48, 8, 0);
    const uint32_t header[] = {160, 1, 0, 3, 4, 56, 24, 32, 128};
    memcpy(bytes.data(), header, sizeof(header));
    ExactCopy in(bytes.data(), bytes.size());
    ASSERT_EQ(in.validate(), 0);

    MetadataPtr clone(clone_camera_metadata(in.get()));
    camera_metadata_ro_entry_t e{};
    ASSERT_EQ(find_camera_metadata_ro_entry(clone.get(), ANDROID_SCALER_CROP_REGION, &e), 0);
    EXPECT_EQ(e.data.i32[2], 640);
    const size_t compact = get_camera_metadata_compact_size(in.get());
    ASSERT_EQ(compact, 48u + 3 * 16 + 24);
    std::unique_ptr<uint8_t[]> dst(new uint8_t[compact]);
    camera_metadata_t* copied = copy_camera_metadata(dst.get(), compact, in.get());
    ASSERT_EQ(find_camera_metadata_ro_entry(copied, ANDROID_SENSOR_EXPOSURE_TIME, &e), 0);
    EXPECT_EQ(e.data.i64[0], 33333333);
    MetadataPtr fresh = makeMetadata(3, 24);
    ASSERT_EQ(append_camera_metadata(fresh.get(), in.get()), 0);
    EXPECT_EQ(validate_camera_metadata_structure(fresh.get(), nullptr), 0);

    EXPECT_EQ(captureFd([&](int fd) { dump_camera_metadata(in.get(), fd, 2); }),
              "Dumping camera metadata array: 3 / 4 entries, 24 / 32 bytes of extra data.\n"
              "  Version: 1, Flags: 00000000\n"
              "  android.scaler.cropRegion (d0000): int32[4]\n"
              "    [0 0 640 480 ]\n"
              "  android.sensor.exposureTime (e0000): int64[1]\n"
              "    [33333333 ]\n"
              "  android.control.aeMode (10003): byte[1]\n"
              "    [1 ]\n");
    ASSERT_EQ(sort_camera_metadata(in.get()), 0);
    ASSERT_EQ(get_camera_metadata_ro_entry(in.get(), 0, &e), 0);
    EXPECT_EQ(e.tag, static_cast<uint32_t>(ANDROID_CONTROL_AE_MODE));
    EXPECT_EQ(in.validate(), 0);
}
