#include "CameraMetadataTestUtil.h"

#include <camera_metadata_hidden.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

constexpr uint32_t kKnown = 0x80000000;
constexpr uint32_t kUnknown = 0x80000001;

// Like the framework's callbacks: 255 and null names for tags they do not know.
const vendor_tag_ops_t kOps = {
    [](const vendor_tag_ops_t*) { return 1; },
    [](const vendor_tag_ops_t*, uint32_t* tags) { tags[0] = kKnown; },
    [](const vendor_tag_ops_t*, uint32_t tag) { return tag == kKnown ? "com.tamo" : nullptr; },
    [](const vendor_tag_ops_t*, uint32_t tag) { return tag == kKnown ? "mode" : nullptr; },
    [](const vendor_tag_ops_t*, uint32_t tag) { return tag == kKnown ? int(TYPE_INT32) : 255; },
    {},
};

const vendor_tag_cache_ops_t kCacheOps = {
    [](metadata_vendor_id_t) { return 1; },
    [](uint32_t* tags, metadata_vendor_id_t) { tags[0] = kKnown; },
    [](uint32_t, metadata_vendor_id_t id) { return id == 7 ? "com.cached" : nullptr; },
    [](uint32_t, metadata_vendor_id_t id) { return id == 7 ? "level" : nullptr; },
    [](uint32_t, metadata_vendor_id_t id) { return id == 7 ? int(TYPE_INT64) : -1; },
    {},
};

class CameraMetadataVendor : public ::testing::Test {
protected:
    void TearDown() override {
        set_camera_metadata_vendor_ops(nullptr);
        set_camera_metadata_vendor_cache_ops(nullptr);
    }
};

}  // namespace

TEST_F(CameraMetadataVendor, VendorTagsAreTypedOnlyByInstalledOps) {
    MetadataPtr m = makeMetadata(4, 32);
    const int64_t v = 9;
    EXPECT_EQ(get_camera_metadata_tag_type(kKnown), -1);
    EXPECT_EQ(get_camera_metadata_section_name(kKnown), nullptr);
    EXPECT_EQ(add_camera_metadata_entry(m.get(), kKnown, &v, 1), 1);

    ASSERT_EQ(set_camera_metadata_vendor_ops(&kOps), 0);
    EXPECT_EQ(get_camera_metadata_tag_type(kKnown), TYPE_INT32);
    EXPECT_STREQ(get_camera_metadata_section_name(kKnown), "com.tamo");
    EXPECT_STREQ(get_camera_metadata_tag_name(kKnown), "mode");
    EXPECT_EQ(add_camera_metadata_entry(m.get(), kKnown, &v, 1), 0);
    // 255 is not a type: refused rather than used as a table index.
    EXPECT_EQ(get_camera_metadata_tag_type(kUnknown), 255);
    EXPECT_EQ(add_camera_metadata_entry(m.get(), kUnknown, &v, 1), 1);
    EXPECT_EQ(get_camera_metadata_entry_count(m.get()), 1u);
    // Standard tags never reach the callbacks.
    EXPECT_EQ(get_camera_metadata_tag_type(ANDROID_CONTROL_AE_MODE), TYPE_BYTE);

    ExactCopy copy(m.get(), get_camera_metadata_size(m.get()));
    setU32(copy.get(), 48, kUnknown);
    EXPECT_EQ(copy.validate(), 0);
    EXPECT_EQ(captureFd([&](int fd) { dump_camera_metadata(copy.get(), fd, 1); }),
              "Dumping camera metadata array: 1 / 4 entries, 0 / 32 bytes of extra data.\n"
              "  Version: 1, Flags: 00000000\n"
              "  unknownSection.unknownTag (80000001): int32[1]\n"
              "    [9 ]\n");

    set_camera_metadata_vendor_ops(nullptr);
    EXPECT_EQ(get_camera_metadata_tag_type(kKnown), -1);
    EXPECT_EQ(set_camera_metadata_vendor_tag_ops(nullptr), 1);
}

TEST_F(CameraMetadataVendor, BuffersWithVendorIdUseTheCacheOps) {
    set_camera_metadata_vendor_ops(&kOps);
    set_camera_metadata_vendor_cache_ops(&kCacheOps);
    MetadataPtr tagged = makeMetadata(2, 16);
    MetadataPtr plain = makeMetadata(2, 16);
    EXPECT_EQ(get_camera_metadata_vendor_id(tagged.get()), CAMERA_METADATA_INVALID_VENDOR_ID);
    set_camera_metadata_vendor_id(tagged.get(), 7);
    EXPECT_EQ(get_camera_metadata_vendor_id(tagged.get()), 7u);
    EXPECT_EQ(get_camera_metadata_vendor_id(nullptr), CAMERA_METADATA_INVALID_VENDOR_ID);

    EXPECT_EQ(get_local_camera_metadata_tag_type(kKnown, tagged.get()), TYPE_INT64);
    EXPECT_STREQ(get_local_camera_metadata_section_name(kKnown, tagged.get()), "com.cached");
    EXPECT_STREQ(get_local_camera_metadata_tag_name(kKnown, tagged.get()), "level");
    EXPECT_EQ(get_local_camera_metadata_tag_type(kKnown, plain.get()), TYPE_INT32);
    EXPECT_EQ(get_local_camera_metadata_tag_type_vendor_id(kKnown, 8), -1);

    const int64_t v[] = {1, 2};
    ASSERT_EQ(add_camera_metadata_entry(tagged.get(), kKnown, v, 2), 0);
    EXPECT_EQ(get_camera_metadata_data_count(tagged.get()), 16u);
    EXPECT_EQ(add_camera_metadata_entry(plain.get(), kKnown, v, 2), 0);
    EXPECT_EQ(get_camera_metadata_data_count(plain.get()), 8u);
}

TEST(CameraMetadataLoading, LibraryIsFoundByItsPlatformName) {
    void* handle = dlopen("libcamera_metadata.so", RTLD_NOW);
    ASSERT_NE(handle, nullptr) << dlerror();
    void* sym = dlsym(handle, "set_camera_metadata_vendor_ops");
    EXPECT_EQ(sym, reinterpret_cast<void*>(&set_camera_metadata_vendor_ops));
    dlclose(handle);
}
