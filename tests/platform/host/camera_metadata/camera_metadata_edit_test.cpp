#include "CameraMetadataTestUtil.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <vector>

namespace {

const int32_t kFour[] = {1, 2, 3, 4};
const int64_t kOne64[] = {7};
const uint8_t kByte = 3;

std::vector<int32_t> i32Of(camera_metadata_t* m, uint32_t tag) {
    camera_metadata_ro_entry_t e{};
    if (find_camera_metadata_ro_entry(m, tag, &e) != 0) return {};
    return std::vector<int32_t>(e.data.i32, e.data.i32 + e.count);
}

}  // namespace

TEST(CameraMetadataEdit, AddFillsCapacitiesExactlyAndRefusesBadInput) {
    MetadataPtr m = makeMetadata(2, 8);
    ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_SENSOR_EXPOSURE_TIME, kOne64, 1), 0);
    // No data room left: an out-of-line payload fails, an inline one fits.
    EXPECT_EQ(add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, kFour, 2), 1);
    EXPECT_EQ(add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, kFour, 1), 0);
    EXPECT_EQ(get_camera_metadata_data_count(m.get()), 8u);
    EXPECT_EQ(add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_MODE, &kByte, 1), 1);
    EXPECT_EQ(get_camera_metadata_entry_count(m.get()), 2u);

    MetadataPtr n = makeMetadata(4, 64);
    EXPECT_EQ(add_camera_metadata_entry(n.get(), ANDROID_SCALER_CROP_REGION, nullptr, 4), 1);
    EXPECT_EQ(add_camera_metadata_entry(n.get(), ANDROID_SECTION_COUNT << 16, kFour, 1), 1);
    EXPECT_EQ(add_camera_metadata_entry(n.get(), ANDROID_CONTROL_END, &kByte, 1), 1);
    EXPECT_EQ(add_camera_metadata_entry(nullptr, ANDROID_CONTROL_AE_MODE, &kByte, 1), 1);
    EXPECT_EQ(add_camera_metadata_entry(n.get(), ANDROID_SCALER_CROP_REGION, nullptr, 0), 0);
    EXPECT_EQ(get_camera_metadata_entry_count(n.get()), 1u);

    camera_metadata_entry_t e{};
    EXPECT_EQ(find_camera_metadata_entry(n.get(), ANDROID_CONTROL_AE_MODE, &e), -ENOENT);
    EXPECT_EQ(find_camera_metadata_entry(nullptr, ANDROID_CONTROL_AE_MODE, &e), 1);
    EXPECT_EQ(get_camera_metadata_entry(n.get(), 1, &e), 1);
    ASSERT_EQ(get_camera_metadata_entry(n.get(), 0, &e), 0);
    EXPECT_EQ(e.count, 0u);
}

TEST(CameraMetadataEdit, UpdateAndDeleteKeepTheDataAreaConsistent) {
    MetadataPtr m = makeMetadata(4, 40);
    const int32_t crop[] = {10, 20, 30, 40};
    const int32_t fps[] = {15, 30};
    const int32_t region[] = {5, 6};
    ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, crop, 4), 0);
    ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_TARGET_FPS_RANGE, fps, 2), 0);
    ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_REGIONS, region, 2), 0);
    ASSERT_EQ(get_camera_metadata_data_count(m.get()), 32u);

    // Same data size: rewritten where it was.
    camera_metadata_entry_t before{}, after{};
    get_camera_metadata_entry(m.get(), 1, &before);
    const int32_t fps2[] = {24, 60};
    ASSERT_EQ(update_camera_metadata_entry(m.get(), 1, fps2, 2, &after), 0);
    EXPECT_EQ(after.data.i32, before.data.i32);

    // Shrinking the first payload, with values read from that very payload,
    // moves it to the end and the others down.
    camera_metadata_entry_t own{};
    get_camera_metadata_entry(m.get(), 0, &own);
    ASSERT_EQ(update_camera_metadata_entry(m.get(), 0, own.data.i32, 2, &after), 0);
    EXPECT_EQ(after.count, 2u);
    EXPECT_EQ(get_camera_metadata_data_count(m.get()), 24u);
    EXPECT_EQ(i32Of(m.get(), ANDROID_SCALER_CROP_REGION), std::vector<int32_t>({10, 20}));
    EXPECT_EQ(i32Of(m.get(), ANDROID_CONTROL_AE_TARGET_FPS_RANGE), std::vector<int32_t>({24, 60}));
    EXPECT_EQ(i32Of(m.get(), ANDROID_CONTROL_AE_REGIONS), std::vector<int32_t>({5, 6}));
    EXPECT_EQ(validate_camera_metadata_structure(m.get(), nullptr), 0);

    // No room: the whole packet stays as it was.
    std::vector<uint8_t> snapshot(reinterpret_cast<uint8_t*>(m.get()),
                                  reinterpret_cast<uint8_t*>(m.get()) + 48 + 4 * 16 + 40);
    const int32_t big[8] = {};
    EXPECT_EQ(update_camera_metadata_entry(m.get(), 2, big, 8, nullptr), 1);
    EXPECT_EQ(0, memcmp(snapshot.data(), m.get(), snapshot.size()));
    EXPECT_EQ(update_camera_metadata_entry(m.get(), 4, fps, 2, nullptr), 1);
    EXPECT_EQ(update_camera_metadata_entry(m.get(), 0, nullptr, 2, nullptr), 1);

    // To an inline payload and to no elements: data bytes are released.
    ASSERT_EQ(update_camera_metadata_entry(m.get(), 1, fps, 1, nullptr), 0);
    EXPECT_EQ(get_camera_metadata_data_count(m.get()), 16u);
    ASSERT_EQ(update_camera_metadata_entry(m.get(), 0, nullptr, 0, nullptr), 0);
    EXPECT_EQ(get_camera_metadata_data_count(m.get()), 8u);
    EXPECT_EQ(i32Of(m.get(), ANDROID_CONTROL_AE_TARGET_FPS_RANGE), std::vector<int32_t>({15}));
    EXPECT_EQ(i32Of(m.get(), ANDROID_CONTROL_AE_REGIONS), std::vector<int32_t>({5, 6}));

    // Delete closes the gap in entries and data.
    ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_SENSOR_EXPOSURE_TIME, kOne64, 1), 0);
    ASSERT_EQ(delete_camera_metadata_entry(m.get(), 2), 0);
    EXPECT_EQ(get_camera_metadata_entry_count(m.get()), 3u);
    EXPECT_EQ(get_camera_metadata_data_count(m.get()), 8u);
    camera_metadata_ro_entry_t e{};
    ASSERT_EQ(get_camera_metadata_ro_entry(m.get(), 2, &e), 0);
    EXPECT_EQ(e.tag, static_cast<uint32_t>(ANDROID_SENSOR_EXPOSURE_TIME));
    EXPECT_EQ(e.data.i64[0], 7);
    EXPECT_EQ(delete_camera_metadata_entry(m.get(), 3), 1);
    EXPECT_EQ(validate_camera_metadata_structure(m.get(), nullptr), 0);
}

TEST(CameraMetadataEdit, SortEnablesBinarySearchAndKeepsTheFirstOfEqualTags) {
    MetadataPtr m = makeMetadata(100, 800);
    for (int64_t i = 99; i >= 0; --i) {
        // Every even tag of the control section, most of them several times.
        const uint32_t tag = ANDROID_CONTROL_START + (i % 24) * 2;
        ASSERT_EQ(add_camera_metadata_entry(m.get(), tag, &i, 1), 0) << i;
    }
    ASSERT_EQ(sort_camera_metadata(m.get()), 0);
    EXPECT_EQ(u32At(m.get(), 8), 1u);
    camera_metadata_ro_entry_t e{};
    for (uint32_t k = 0; k < 48; ++k) {
        const int res = find_camera_metadata_ro_entry(m.get(), ANDROID_CONTROL_START + k, &e);
        if (k % 2) {
            EXPECT_EQ(res, -ENOENT) << k;
            continue;
        }
        ASSERT_EQ(res, 0) << k;
        // The entry added first for this tag, i.e. the largest i.
        int32_t first = 0;
        for (int32_t i = 0; i < 100; ++i) first = (i % 24) * 2 == static_cast<int32_t>(k) ? i : first;
        EXPECT_EQ(e.data.u8[0], first) << k;
        if (e.index > 0) {
            camera_metadata_ro_entry_t prev{};
            get_camera_metadata_ro_entry(m.get(), e.index - 1, &prev);
            EXPECT_LT(prev.tag, e.tag);
        }
    }
    EXPECT_EQ(find_camera_metadata_ro_entry(m.get(), ANDROID_CONTROL_START + 99, &e), -ENOENT);
    EXPECT_EQ(find_camera_metadata_ro_entry(m.get(), 0, &e), -ENOENT);
    EXPECT_EQ(sort_camera_metadata(nullptr), 1);
}

TEST(CameraMetadataEdit, AppendRebasesOffsetsAndFollowsFlagAndVendorRules) {
    MetadataPtr src = makeMetadata(2, 16);
    ASSERT_EQ(add_camera_metadata_entry(src.get(), ANDROID_SCALER_CROP_REGION, kFour, 4), 0);
    ASSERT_EQ(add_camera_metadata_entry(src.get(), ANDROID_CONTROL_AE_MODE, &kByte, 1), 0);
    sort_camera_metadata(src.get());

    MetadataPtr empty = makeMetadata(2, 16);
    ASSERT_EQ(append_camera_metadata(empty.get(), src.get()), 0);
    EXPECT_EQ(u32At(empty.get(), 8), 1u);  // takes the sorted flag

    MetadataPtr dst = makeMetadata(3, 24);
    ASSERT_EQ(add_camera_metadata_entry(dst.get(), ANDROID_SENSOR_EXPOSURE_TIME, kOne64, 1), 0);
    sort_camera_metadata(dst.get());
    std::vector<uint8_t> snapshot(reinterpret_cast<uint8_t*>(dst.get()),
                                  reinterpret_cast<uint8_t*>(dst.get()) + 48 + 3 * 16 + 8);
    MetadataPtr roomy = makeMetadata(3, 16);
    EXPECT_EQ(append_camera_metadata(roomy.get(), dst.get()), 0);
    EXPECT_EQ(append_camera_metadata(roomy.get(), src.get()), 1);  // data room
    MetadataPtr few = makeMetadata(2, 64);
    add_camera_metadata_entry(few.get(), ANDROID_CONTROL_AE_MODE, &kByte, 1);
    EXPECT_EQ(append_camera_metadata(few.get(), src.get()), 1);  // entry room

    ASSERT_EQ(append_camera_metadata(dst.get(), src.get()), 0);
    EXPECT_EQ(0, memcmp(snapshot.data() + 48, reinterpret_cast<uint8_t*>(dst.get()) + 48, 16));
    EXPECT_EQ(0, memcmp(snapshot.data() + 96, reinterpret_cast<uint8_t*>(dst.get()) + 96, 8));
    EXPECT_EQ(u32At(dst.get(), 8), 0u);
    EXPECT_EQ(get_camera_metadata_data_count(dst.get()), 24u);
    EXPECT_EQ(i32Of(dst.get(), ANDROID_SCALER_CROP_REGION), std::vector<int32_t>({1, 2, 3, 4}));
    EXPECT_EQ(validate_camera_metadata_structure(dst.get(), nullptr), 0);

    MetadataPtr none = makeMetadata(0, 0);
    ASSERT_EQ(append_camera_metadata(empty.get(), none.get()), 0);
    EXPECT_EQ(u32At(empty.get(), 8), 1u);  // an empty source leaves it
    EXPECT_EQ(append_camera_metadata(empty.get(), nullptr), 1);
    MetadataPtr unsorted = makeMetadata(3, 24);
    sort_camera_metadata(unsorted.get());
    ASSERT_EQ(append_camera_metadata(unsorted.get(), dst.get()), 0);
    EXPECT_EQ(u32At(unsorted.get(), 8), 0u);  // an empty target takes the source's

    set_camera_metadata_vendor_id(src.get(), 5);
    MetadataPtr other = makeMetadata(4, 32);
    set_camera_metadata_vendor_id(other.get(), 6);
    EXPECT_EQ(append_camera_metadata(other.get(), src.get()), 1);
    MetadataPtr plain = makeMetadata(4, 32);
    ASSERT_EQ(append_camera_metadata(plain.get(), src.get()), 0);
    EXPECT_EQ(get_camera_metadata_vendor_id(plain.get()), 5u);

    MetadataPtr clone(clone_camera_metadata(dst.get()));
    ASSERT_TRUE(clone);
    EXPECT_EQ(get_camera_metadata_entry_capacity(clone.get()), 3u);
    EXPECT_EQ(get_camera_metadata_data_capacity(clone.get()), 24u);
    EXPECT_EQ(0, memcmp(clone.get(), dst.get(), get_camera_metadata_size(dst.get())));
}
