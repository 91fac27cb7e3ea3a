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
    std::vector<uint8_t> bytes(p, p + get_camera_metadata_size(m.get()));
    return bytes;
}

const char kDump[] =
    "Dumping camera metadata array: 3 / 4 entries, 24 / 32 bytes of extra data.\n"
    "  Version: 1, Flags: 00000000\n"
    "  android.scaler.cropRegion (d0000): int32[4]\n"
    "    [0 0 640 480 ]\n"
    "  android.sensor.exposureTime (e0000): int64[1]\n"
    "    [33333333 ]\n"
    "  android.control.aeMode (10003): byte[1]\n"
    "    [1 ]\n";

}  // namespace

TEST(CameraMetadataValidate, AcceptsPacketsWithinTheirSizeAndFlagsShiftedOnes) {
    std::vector<uint8_t> base = basePacket();
    ASSERT_EQ(base.size(), 144u);
    ExactCopy good(base.data(), base.size());
    EXPECT_EQ(good.validate(), 0);
    size_t smaller = 143;
    EXPECT_EQ(validate_camera_metadata_structure(good.get(), &smaller), 1);
    ExactCopy headerOnly(base.data(), 47);
    EXPECT_EQ(headerOnly.validate(), 1);
    EXPECT_EQ(validate_camera_metadata_structure(nullptr, nullptr), 1);
    ExactCopy shifted(base.data(), base.size(), 4);
    EXPECT_EQ(shifted.validate(), CAMERA_METADATA_VALIDATION_SHIFTED);

    MetadataPtr copy(allocate_copy_camera_metadata_checked(good.get(), good.size));
    ASSERT_TRUE(copy);
    EXPECT_EQ(0, memcmp(copy.get(), base.data(), base.size()));
    EXPECT_EQ(allocate_copy_camera_metadata_checked(good.get(), 100), nullptr);
    EXPECT_EQ(allocate_copy_camera_metadata_checked(good.get(), 40), nullptr);
    EXPECT_EQ(allocate_copy_camera_metadata_checked(nullptr, 144), nullptr);
}

TEST(CameraMetadataValidate, RejectsEveryCorruptHeaderFieldAndEntry) {
    const std::vector<uint8_t> base = basePacket();
    struct Corruption {
        size_t offset;
        uint32_t value;
        const char* what;
    };
    const Corruption cases[] = {
        {0, 145, "size beyond the buffer"},
        {0, 136, "size cuts the data area"},
        {12, 5, "entry count beyond capacity"},
        {24, 33, "data count beyond capacity"},
        {20, 40, "entries overlap the header"},
        {20, 50, "entries misaligned"},
        {16, 5, "entries run into the data area"},
        {16, 0x10000000, "entry capacity wraps 32 bits"},
        {32, 104, "data starts inside the entries"},
        {32, 120, "data area runs past the packet"},
        {28, 0xFFFFFFF8, "data capacity wraps 32 bits"},
        {48 + 12, NUM_TYPES, "unknown type"},
        {80 + 12, TYPE_INT32, "type differs from the tag's"},
        {80, ANDROID_SECTION_COUNT << 16, "tag of no section"},
        {80, ANDROID_CONTROL_END, "tag past its section"},
        {48 + 8, 16, "payload past the used data"},
        {64 + 8, 12, "payload misaligned"},
        {48 + 4, 0x40000000, "count past the data area"},
        {64 + 4, 0xFFFFFFFF, "count wraps 32 bits"},
    };
    for (const Corruption& c : cases) {
        ExactCopy bad(base.data(), base.size());
        setU32(bad.get(), c.offset, c.value);
        EXPECT_EQ(bad.validate(), CAMERA_METADATA_VALIDATION_ERROR) << c.what;
    }
    ExactCopy small(base.data(), base.size());
    setU32(small.get(), 0, 0xFFFFFFFF);
    size_t headerSize = 48;
    EXPECT_EQ(validate_camera_metadata_structure(small.get(), &headerSize), 1);

    // Vendor tags are not checked against a table.
    ExactCopy vendor(base.data(), base.size());
    setU32(vendor.get(), 80, 0x80010002);
    EXPECT_EQ(vendor.validate(), 0);
}

TEST(CameraMetadataValidate, OperationsOnValidatedPacketsStayInside) {
    // A valid packet laid out differently: 8 spare bytes before the data.
    std::vector<uint8_t> bytes = basePacket();
    bytes.insert(bytes.begin() + 112, 8, 0);
    setU32(bytes.data(), 0, 152);
    setU32(bytes.data(), 32, 120);
    ExactCopy in(bytes.data(), bytes.size());
    ASSERT_EQ(in.validate(), 0);

    MetadataPtr clone(clone_camera_metadata(in.get()));
    ASSERT_TRUE(clone);
    camera_metadata_ro_entry_t e{};
    ASSERT_EQ(find_camera_metadata_ro_entry(clone.get(), ANDROID_SCALER_CROP_REGION, &e), 0);
    EXPECT_EQ(e.data.i32[2], 640);

    const size_t compact = get_camera_metadata_compact_size(in.get());
    EXPECT_EQ(compact, 48u + 3 * 16 + 24);
    std::unique_ptr<uint8_t[]> dst(new uint8_t[compact]);
    EXPECT_EQ(copy_camera_metadata(dst.get(), compact - 1, in.get()), nullptr);
    camera_metadata_t* copied = copy_camera_metadata(dst.get(), compact, in.get());
    ASSERT_NE(copied, nullptr);
    ASSERT_EQ(find_camera_metadata_ro_entry(copied, ANDROID_SENSOR_EXPOSURE_TIME, &e), 0);
    EXPECT_EQ(e.data.i64[0], 33333333);

    MetadataPtr fresh = makeMetadata(3, 24);
    ASSERT_EQ(append_camera_metadata(fresh.get(), in.get()), 0);
    EXPECT_EQ(validate_camera_metadata_structure(fresh.get(), nullptr), 0);
    EXPECT_EQ(captureFd([&](int fd) { dump_camera_metadata(in.get(), fd, 2); }), kDump);
    ASSERT_EQ(sort_camera_metadata(in.get()), 0);
    ASSERT_EQ(get_camera_metadata_ro_entry(in.get(), 0, &e), 0);
    EXPECT_EQ(e.tag, static_cast<uint32_t>(ANDROID_CONTROL_AE_MODE));
    EXPECT_EQ(in.validate(), 0);

    EXPECT_EQ(captureFd([](int fd) { dump_indented_camera_metadata(nullptr, fd, 0, 2); }),
              "  Dumping camera metadata array: Not allocated\n");
    const std::string brief = captureFd([&](int fd) { dump_camera_metadata(clone.get(), fd, 0); });
    EXPECT_EQ(brief.find("    ["), std::string::npos);
}
