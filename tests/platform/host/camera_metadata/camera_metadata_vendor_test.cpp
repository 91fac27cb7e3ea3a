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

}  // namespace

TEST(CameraMetadataVendor, VendorTagsAreTypedOnlyByInstalledOps) {
    MetadataPtr m = makeMetadata(4, 32);
    const int64_t v = 9;
    EXPECT_EQ(get_camera_metadata_tag_type(kKnown), -1);
    EXPECT_EQ(add_camera_metadata_entry(m.get(), kKnown, &v, 1), 1);

    ASSERT_EQ(set_camera_metadata_vendor_ops(&kOps), 0);
    EXPECT_STREQ(get_camera_metadata_section_name(kKnown), "com.tamo");
    EXPECT_STREQ(get_camera_metadata_tag_name(kKnown), "mode");
    EXPECT_EQ(add_camera_metadata_entry(m.get(), kKnown, &v, 1), 0);
    // 255 is no type: refused rather than used as a table index.
    EXPECT_EQ(get_camera_metadata_tag_type(kUnknown), 255);
    EXPECT_EQ(add_camera_metadata_entry(m.get(), kUnknown, &v, 1), 1);

    setU32(m.get(), 48, kUnknown);
    EXPECT_EQ(captureFd([&](int fd) { dump_camera_metadata(m.get(), fd, 1); }),
              "Dumping camera metadata array: 1 / 4 entries, 0 / 32 bytes of extra data.\n"
              "  Version: 1, Flags: 00000000\n"
              "  unknownSection.unknownTag (80000001): int32[1]\n"
              "    [9 ]\n");

    // Buffers that carry a vendor id ask the cache ops instead.
    set_camera_metadata_vendor_cache_ops(&kCacheOps);
    MetadataPtr tagged = makeMetadata(2, 16);
    set_camera_metadata_vendor_id(tagged.get(), 7);
    EXPECT_STREQ(get_local_camera_metadata_tag_name(kKnown, tagged.get()), "level");
    const int64_t two[] = {1, 2};
    ASSERT_EQ(add_camera_metadata_entry(tagged.get(), kKnown, two, 2), 0);
    EXPECT_EQ(get_camera_metadata_data_count(tagged.get()), 16u);
    EXPECT_EQ(get_local_camera_metadata_tag_type(kKnown, m.get()), TYPE_INT32);

    set_camera_metadata_vendor_cache_ops(nullptr);
    set_camera_metadata_vendor_ops(nullptr);
    EXPECT_EQ(get_camera_metadata_tag_type(kKnown), -1);
}

TEST(CameraMetadataLoading, LibraryIsFoundByItsPlatformName) {
    void* handle = dlopen("libcamera_metadata.so", RTLD_NOW);
    ASSERT_NE(handle, nullptr) << dlerror();
    EXPECT_EQ(dlsym(handle, "set_camera_metadata_vendor_ops"),
              reinterpret_cast<void*>(&set_camera_metadata_vendor_ops));
    dlclose(handle);
}
