#include "CameraMetadataTestUtil.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <vector>

namespace {

const int32_t kFour[] = {1, 2, 3, 4};
const int64_t kSeven = 7;
const uint8_t kByte = 3;

std::vector<int32_t> i32Of(camera_metadata_t* m, uint32_t tag) {
    camera_metadata_ro_entry_t e{};
    if (find_camera_metadata_ro_entry(m, tag, &e) != 0) return {};
    return std::vector<int32_t>(e.data.i32, e.data.i32 + e.count);
}

std::vector<uint8_t> bytesOf(camera_metadata_t* m) {
    const uint8_t* p = reinterpret_cast<const uint8_t*>(m);
    return std::vector<uint8_t>(p, p + get_camera_metadata_size(m));
}

}  // namespace

TEST(CameraMetadataEdit, AddFillsCapacitiesExactlyAndRefusesBadInput) {
    MetadataPtr m = makeMetadata(2, 8);
    ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_SENSOR_EXPOSURE_TIME, &kSeven, 1), 0);
    EXPECT_EQ(add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, kFour, 2), 1);
    EXPECT_EQ(add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, kFour, 1), 0);
    EXPECT_EQ(get_camera_metadata_data_count(m.get()), 8u);
    EXPECT_EQ(add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_MODE, &kByte, 1), 1);

    MetadataPtr n = makeMetadata(4, 64);
    EXPECT_EQ(add_camera_metadata_entry(n.get(), ANDROID_SCALER_CROP_REGION, nullptr, 4), 1);
    EXPECT_EQ(add_camera_metadata_entry(n.get(), ANDROID_CONTROL_END, &kByte, 1), 1);
    EXPECT_EQ(add_camera_metadata_entry(n.get(), ANDROID_SCALER_CROP_REGION, nullptr, 0), 0);
    camera_metadata_entry_t e{};
    EXPECT_EQ(find_camera_metadata_entry(n.get(), ANDROID_CONTROL_AE_MODE, &e), -ENOENT);
    EXPECT_EQ(get_camera_metadata_entry(n.get(), 1, &e), 1);
}

TEST(CameraMetadataEdit, UpdateAndDeleteKeepTheDataAreaConsistent) {
    MetadataPtr m = makeMetadata(4, 40);
    const int32_t crop[] = {10, 20, 30, 40}, fps[] = {15, 30}, fps2[] = {24, 60}, region[] = {5, 6};
    add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, crop, 4);
    add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_TARGET_FPS_RANGE, fps, 2);
    add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_REGIONS, region, 2);

    // Same data size: rewritten where it was.
    camera_metadata_entry_t before{}, after{};
    get_camera_metadata_entry(m.get(), 1, &before);
    ASSERT_EQ(update_camera_metadata_entry(m.get(), 1, fps2, 2, &after), 0);
    EXPECT_EQ(after.data.i32, before.data.i32);

    // Shrinking the first payload, with values read from that very payload,
    // moves it to the end and the others down.
    get_camera_metadata_entry(m.get(), 0, &before);
    ASSERT_EQ(update_camera_metadata_entry(m.get(), 0, before.data.i32, 2, &after), 0);
    EXPECT_EQ(get_camera_metadata_data_count(m.get()), 24u);
    EXPECT_EQ(i32Of(m.get(), ANDROID_SCALER_CROP_REGION), std::vector<int32_t>({10, 20}));
    EXPECT_EQ(i32Of(m.get(), ANDROID_CONTROL_AE_TARGET_FPS_RANGE), std::vector<int32_t>({24, 60}));
    EXPECT_EQ(i32Of(m.get(), ANDROID_CONTROL_AE_REGIONS), std::vector<int32_t>({5, 6}));

    // No room: the whole packet stays as it was.
    const std::vector<uint8_t> snapshot = bytesOf(m.get());
    const int32_t big[8] = {};
    EXPECT_EQ(update_camera_metadata_entry(m.get(), 2, big, 8, nullptr), 1);
    EXPECT_EQ(bytesOf(m.get()), snapshot);

    // To an inline payload and to no elements: data bytes are released.
    ASSERT_EQ(update_camera_metadata_entry(m.get(), 1, fps, 1, nullptr), 0);
    ASSERT_EQ(update_camera_metadata_entry(m.get(), 0, nullptr, 0, nullptr), 0);
    EXPECT_EQ(get_camera_metadata_data_count(m.get()), 8u);
    EXPECT_EQ(i32Of(m.get(), ANDROID_CONTROL_AE_TARGET_FPS_RANGE), std::vector<int32_t>({15}));
    EXPECT_EQ(i32Of(m.get(), ANDROID_CONTROL_AE_REGIONS), std::vector<int32_t>({5, 6}));

    // Delete closes the gap in entries and data.
    add_camera_metadata_entry(m.get(), ANDROID_SENSOR_EXPOSURE_TIME, &kSeven, 1);
    ASSERT_EQ(delete_camera_metadata_entry(m.get(), 2), 0);
    EXPECT_EQ(get_camera_metadata_data_count(m.get()), 8u);
    camera_metadata_ro_entry_t e{};
    ASSERT_EQ(get_camera_metadata_ro_entry(m.get(), 2, &e), 0);
    EXPECT_EQ(e.data.i64[0], 7);
    EXPECT_EQ(validate_camera_metadata_structure(m.get(), nullptr), 0);
}

// A packet from elsewhere may point two entries at overlapping data. Taking
// one's bytes out of the data area would leave the other reaching outside
// its data, or rebased to below the data area: that edit is refused.
TEST(CameraMetadataEdit, RefusesToMoveDataAnotherEntryShares) {
    MetadataPtr m = makeMetadata(3, 48);
    const int32_t crop[] = {10, 20, 30, 40}, fps[] = {15, 30}, region[] = {5, 6};
    add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, crop, 4);          // data 0-15
    add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_TARGET_FPS_RANGE, fps, 2);  // data 16-23
    add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_REGIONS, region, 2);        // data 24-31
    setU32(m.get(), 48 + 16 + 8, 8);  // the fps range now lies inside the crop region
    size_t size = get_camera_metadata_size(m.get());
    ASSERT_EQ(validate_camera_metadata_structure(m.get(), &size), 0);

    const std::vector<uint8_t> before = bytesOf(m.get());
    EXPECT_EQ(delete_camera_metadata_entry(m.get(), 0), 1);
    EXPECT_EQ(delete_camera_metadata_entry(m.get(), 1), 1);
    EXPECT_EQ(update_camera_metadata_entry(m.get(), 0, crop, 2, nullptr), 1);
    EXPECT_EQ(update_camera_metadata_entry(m.get(), 1, fps, 4, nullptr), 1);
    EXPECT_EQ(bytesOf(m.get()), before);

    // In place, the aliasing shows but nothing moves; an entry that shares
    // nothing goes as usual.
    const int32_t fps2[] = {24, 60};
    EXPECT_EQ(update_camera_metadata_entry(m.get(), 1, fps2, 2, nullptr), 0);
    EXPECT_EQ(i32Of(m.get(), ANDROID_SCALER_CROP_REGION), (std::vector<int32_t>{10, 20, 24, 60}));
    EXPECT_EQ(delete_camera_metadata_entry(m.get(), 2), 0);
    EXPECT_EQ(get_camera_metadata_data_count(m.get()), 24u);
    EXPECT_EQ(validate_camera_metadata_structure(m.get(), &size), 0);
}

TEST(CameraMetadataEdit, SortEnablesBinarySearchAndKeepsTheFirstOfEqualTags) {
    MetadataPtr m = makeMetadata(100, 800);
    for (int64_t i = 99; i >= 0; --i) {  // even control tags, most several times
        ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_CONTROL_START + (i % 24) * 2, &i, 1), 0);
    }
    ASSERT_EQ(sort_camera_metadata(m.get()), 0);
    EXPECT_EQ(u32At(m.get(), 8), 1u);
    camera_metadata_ro_entry_t e{};
    for (uint32_t k = 0; k < 50; ++k) {
        const int res = find_camera_metadata_ro_entry(m.get(), ANDROID_CONTROL_START + k, &e);
        if (k % 2 || k >= 48) {
            EXPECT_EQ(res, -ENOENT) << k;
            continue;
        }
        ASSERT_EQ(res, 0) << k;
        EXPECT_EQ(uint32_t{e.data.u8[0]}, 96 + k / 2 - (k >= 8 ? 24 : 0)) << k;  // added first
    }
}

TEST(CameraMetadataEdit, AppendRebasesOffsetsAndFollowsFlagAndVendorRules) {
    MetadataPtr src = makeMetadata(2, 16);
    add_camera_metadata_entry(src.get(), ANDROID_SCALER_CROP_REGION, kFour, 4);
    add_camera_metadata_entry(src.get(), ANDROID_CONTROL_AE_MODE, &kByte, 1);
    sort_camera_metadata(src.get());
    MetadataPtr dst = makeMetadata(3, 24);
    add_camera_metadata_entry(dst.get(), ANDROID_SENSOR_EXPOSURE_TIME, &kSeven, 1);

    MetadataPtr lowData = makeMetadata(2, 8), fewEntries = makeMetadata(1, 64);
    EXPECT_EQ(append_camera_metadata(lowData.get(), src.get()), 1);
    EXPECT_EQ(append_camera_metadata(fewEntries.get(), src.get()), 1);

    sort_camera_metadata(dst.get());
    ASSERT_EQ(append_camera_metadata(dst.get(), src.get()), 0);
    EXPECT_EQ(u32At(dst.get(), 8), 0u);  // both non-empty: no longer sorted
    EXPECT_EQ(get_camera_metadata_data_count(dst.get()), 24u);
    EXPECT_EQ(i32Of(dst.get(), ANDROID_SCALER_CROP_REGION), std::vector<int32_t>({1, 2, 3, 4}));
    EXPECT_EQ(validate_camera_metadata_structure(dst.get(), nullptr), 0);

    MetadataPtr empty = makeMetadata(2, 16), none = makeMetadata(0, 0);
    ASSERT_EQ(append_camera_metadata(empty.get(), src.get()), 0);
    EXPECT_EQ(u32At(empty.get(), 8), 1u);  // an empty target takes the source's flag
    ASSERT_EQ(append_camera_metadata(empty.get(), none.get()), 0);
    EXPECT_EQ(u32At(empty.get(), 8), 1u);  // which an empty source leaves alone
    MetadataPtr sortedEmpty = makeMetadata(3, 24);
    sort_camera_metadata(sortedEmpty.get());
    ASSERT_EQ(append_camera_metadata(sortedEmpty.get(), dst.get()), 0);
    EXPECT_EQ(u32At(sortedEmpty.get(), 8), 0u);

    set_camera_metadata_vendor_id(src.get(), 5);
    MetadataPtr other = makeMetadata(4, 32), plain = makeMetadata(4, 32);
    set_camera_metadata_vendor_id(other.get(), 6);
    EXPECT_EQ(append_camera_metadata(other.get(), src.get()), 1);
    ASSERT_EQ(append_camera_metadata(plain.get(), src.get()), 0);
    EXPECT_EQ(get_camera_metadata_vendor_id(plain.get()), 5u);

    MetadataPtr clone(clone_camera_metadata(dst.get()));
    ASSERT_TRUE(clone);
    EXPECT_EQ(bytesOf(clone.get()), bytesOf(dst.get()));
}
