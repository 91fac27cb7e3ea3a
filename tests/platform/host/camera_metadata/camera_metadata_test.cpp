#include <camera_metadata_hidden.h>
#include <gtest/gtest.h>
#include <system/camera_metadata.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <type_traits>
#include <vector>

namespace {

struct Deleter {
    void operator()(camera_metadata_t* m) const { free_camera_metadata(m); }
};
using MetadataPtr = std::unique_ptr<camera_metadata_t, Deleter>;

MetadataPtr makeMetadata(size_t entries, size_t data) { return MetadataPtr(allocate_camera_metadata(entries, data)); }

// Packet fields by byte offset, as another process sees them.
uint32_t flags(const camera_metadata_t* m) { return reinterpret_cast<const uint32_t*>(m)[2]; }
void setU32(void* p, size_t offset, uint32_t v) { memcpy(static_cast<uint8_t*>(p) + offset, &v, sizeof(v)); }

std::vector<uint8_t> bytesOf(const camera_metadata_t* m) {
    const uint8_t* p = reinterpret_cast<const uint8_t*>(m);
    return std::vector<uint8_t>(p, p + get_camera_metadata_size(m));
}

// The int32 values of one tag, or of every entry in entry order.
std::vector<int32_t> i32Of(const camera_metadata_t* m, uint32_t tag = 0) {
    std::vector<int32_t> out;
    camera_metadata_ro_entry_t e{};
    for (size_t i = 0; get_camera_metadata_ro_entry(m, i, &e) == 0; i++) {
        if (tag == 0 || e.tag == tag)
            out.insert(out.end(), e.data.i32, e.data.i32 + e.count);
    }
    return out;
}

// A heap copy of exactly `n` bytes placed `shift` bytes into its block, so
// that ASan reports any access past the packet.
struct ExactCopy {
    ExactCopy(const void* src, size_t n, size_t shift = 0) : bytes(n + shift), size(n) { memcpy(get(), src, n); }
    camera_metadata_t* get() { return reinterpret_cast<camera_metadata_t*>(&bytes[bytes.size() - size]); }
    int validate() { return validate_camera_metadata_structure(get(), &size); }
    std::vector<uint8_t> bytes;
    size_t size;
};

// 3 of 4 entries, 24 of 32 data bytes: 144 bytes, data at 112.
std::vector<uint8_t> basePacket() {
    MetadataPtr m = makeMetadata(4, 32);
    const int32_t crop[] = {0, 0, 640, 480};
    const int64_t exposure = 33333333;
    const uint8_t mode = 1;
    add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, crop, 4);
    add_camera_metadata_entry(m.get(), ANDROID_SENSOR_EXPOSURE_TIME, &exposure, 1);
    add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_MODE, &mode, 1);
    return bytesOf(m.get());
}

const int32_t kFour[] = {1, 2, 3, 4};
const int64_t kSeven = 7;
const uint8_t kByte = 3;

// Code written against the platform's header compiles: every enumerator, of
// its tag's own typedef, with the listed value; every tag enumerator too.
#define NAMED(tag, symbol, constant, type, label, value) \
    static_assert(symbol == tag && constant == value && std::is_same_v<decltype(constant), type>, #constant);
#include "named_values.inc"
#undef NAMED

struct Named {
    uint32_t tag;
    const char* label;
    int64_t value;
};
const Named kNamed[] = {
#define NAMED(tag, symbol, constant, type, label, value) {tag, label, value},
#include "named_values.inc"
#undef NAMED
};

}  // namespace

TEST(CameraMetadataLayout, SizesCapacitiesAndInlinePayloads) {
    EXPECT_EQ(calculate_camera_metadata_size(0, 0), 48u);
    EXPECT_EQ(calculate_camera_metadata_size(400, 180000), 186448u);
    EXPECT_EQ(calculate_camera_metadata_size(SIZE_MAX / 16, 0), SIZE_MAX);
    EXPECT_EQ(allocate_camera_metadata(0, UINT32_MAX), nullptr); // the size field is 32 bits wide

    MetadataPtr m = makeMetadata(3, 20);
    EXPECT_EQ(get_camera_metadata_entry_capacity(m.get()), 3u);
    EXPECT_EQ(get_camera_metadata_data_capacity(m.get()), 20u);
    EXPECT_EQ(get_camera_metadata_size(m.get()), 120u);

    const size_t dataSizes[][3] = {  // type, count, data-area bytes
        {TYPE_BYTE, 4, 0},  {TYPE_BYTE, 5, 8},      {TYPE_BYTE, 17, 24},
        {TYPE_INT32, 1, 0}, {TYPE_FLOAT, 3, 16},    {TYPE_INT64, 1, 8},
        {TYPE_DOUBLE, 3, 24}, {TYPE_RATIONAL, 1, 8}, {NUM_TYPES, 100, 0}};
    for (const auto& s : dataSizes)
        EXPECT_EQ(calculate_camera_metadata_entry_data_size(s[0], s[1]), s[2]) << s[0] << "x" << s[1];
}

// Where a freed block of the same size lay, with the old bytes in it.
TEST(CameraMetadataLayout, PacketsCarryNoLeftoverBytes) {
    auto build = [](uint8_t dirt) {
        const size_t size = calculate_camera_metadata_size(8, 256);
        void* old = malloc(size);
        memset(old, dirt, size);
        free(old);
        MetadataPtr m = makeMetadata(8, 256);
        add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, kFour, 4);
        add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_MODE, &kByte, 1);
        return bytesOf(m.get());
    };
    const std::vector<uint8_t> packet = build(0xAA);
    EXPECT_EQ(build(0x55), packet);
    const size_t dataStart = 48 + 8 * 16;
    ASSERT_EQ(packet.size(), dataStart + 256);
    EXPECT_EQ(std::count(packet.begin() + 48 + 2 * 16, packet.begin() + dataStart, 0), 6 * 16);
    EXPECT_EQ(std::count(packet.begin() + dataStart + 16, packet.end(), 0), 240);

    // A deleted entry goes with its data, later data moving down.
    MetadataPtr m = makeMetadata(8, 256);
    add_camera_metadata_entry(m.get(), ANDROID_SENSOR_EXPOSURE_TIME, &kSeven, 1);
    add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, kFour, 4);
    add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_MODE, &kByte, 1);
    ASSERT_EQ(delete_camera_metadata_entry(m.get(), 0), 0);
    EXPECT_EQ(bytesOf(m.get()), packet);
}

TEST(CameraMetadataLayout, PacketMatchesThePlatformByteForByte) {
    MetadataPtr m = makeMetadata(3, 24);
    const uint8_t mode = 1;
    const int64_t exposure = 33333333;
    ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_MODE, &mode, 1), 0);
    ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, kFour, 4), 0);
    ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_SENSOR_EXPOSURE_TIME, &exposure, 1), 0);
    // What another process builds for the same three entries: header, entries, data.
    const uint32_t packet[] = {120, 1, 0, 3, 3, 48, 24, 24, 96, 0, 0xFFFFFFFF, 0xFFFFFFFF,
                               0x10003, 1, 1, TYPE_BYTE, 0xD0000, 4, 0, TYPE_INT32, 0xE0000, 1, 16, TYPE_INT64,
                               1, 2, 3, 4, 33333333, 0};
    ASSERT_EQ(get_camera_metadata_size(m.get()), sizeof(packet));
    EXPECT_EQ(0, memcmp(m.get(), packet, sizeof(packet)));
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
}

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
}

TEST(CameraMetadataEdit, UpdateAndDeleteKeepTheDataAreaConsistent) {
    MetadataPtr m = makeMetadata(4, 40);
    const int32_t crop[] = {10, 20, 30, 40}, fps[] = {15, 30}, fps2[] = {24, 60}, region[] = {5, 6};
    add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, crop, 4);
    add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_TARGET_FPS_RANGE, fps, 2);
    add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_REGIONS, region, 2);

    ASSERT_EQ(update_camera_metadata_entry(m.get(), 1, fps2, 2, nullptr), 0);
    // Shrinking the first payload, with values read from that very payload,
    // moves it to the end and the others down.
    camera_metadata_entry_t first{};
    get_camera_metadata_entry(m.get(), 0, &first);
    ASSERT_EQ(update_camera_metadata_entry(m.get(), 0, first.data.i32, 2, nullptr), 0);
    EXPECT_EQ(get_camera_metadata_data_count(m.get()), 24u);
    EXPECT_EQ(i32Of(m.get()), std::vector<int32_t>({10, 20, 24, 60, 5, 6}));

    // No room: the whole packet stays as it was.
    const std::vector<uint8_t> snapshot = bytesOf(m.get());
    const int32_t big[8] = {};
    EXPECT_EQ(update_camera_metadata_entry(m.get(), 2, big, 8, nullptr), 1);
    EXPECT_EQ(bytesOf(m.get()), snapshot);

    // To an inline payload and to no elements: data bytes are released.
    ASSERT_EQ(update_camera_metadata_entry(m.get(), 1, fps, 1, nullptr), 0);
    ASSERT_EQ(update_camera_metadata_entry(m.get(), 0, nullptr, 0, nullptr), 0);
    EXPECT_EQ(get_camera_metadata_data_count(m.get()), 8u);
    EXPECT_EQ(i32Of(m.get()), std::vector<int32_t>({15, 5, 6}));
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
    EXPECT_EQ(flags(dst.get()), 0u); // both non-empty: no longer sorted
    EXPECT_EQ(get_camera_metadata_data_count(dst.get()), 24u);
    EXPECT_EQ(i32Of(dst.get(), ANDROID_SCALER_CROP_REGION), std::vector<int32_t>({1, 2, 3, 4}));
    EXPECT_EQ(validate_camera_metadata_structure(dst.get(), nullptr), 0);

    MetadataPtr empty = makeMetadata(2, 16);
    ASSERT_EQ(append_camera_metadata(empty.get(), src.get()), 0);
    EXPECT_EQ(flags(empty.get()), 1u); // an empty target takes the source's flag

    set_camera_metadata_vendor_id(src.get(), 5);
    MetadataPtr other = makeMetadata(4, 32), plain = makeMetadata(4, 32);
    set_camera_metadata_vendor_id(other.get(), 6);
    EXPECT_EQ(append_camera_metadata(other.get(), src.get()), 1);
    ASSERT_EQ(append_camera_metadata(plain.get(), src.get()), 0);
    EXPECT_EQ(get_camera_metadata_vendor_id(plain.get()), 5u);
}

TEST(CameraMetadataValidate, AcceptsWhatFitsItsSizeAndRejectsEveryCorruptField) {
    const std::vector<uint8_t> base = basePacket();
    ASSERT_EQ(base.size(), 144u);
    ExactCopy good(base.data(), base.size()), headerOnly(base.data(), 47), shifted(base.data(), base.size(), 4);
    EXPECT_EQ(good.validate(), 0);
    EXPECT_EQ(headerOnly.validate(), 1);
    EXPECT_EQ(validate_camera_metadata_structure(nullptr, nullptr), 1);
    EXPECT_EQ(shifted.validate(), CAMERA_METADATA_VALIDATION_SHIFTED);

    const uint32_t cases[][2] = {  // {byte offset, value}
        {0, 145}, {0, 136},                                // size past the buffer or the data
        {12, 5}, {24, 33},                                 // counts beyond capacities
        {20, 40}, {16, 5}, {16, 0x10000000},               // entries misplaced or wrapping
        {32, 104}, {32, 120}, {28, 0xFFFFFFF8},            // data area misplaced or wrapping
        {60, NUM_TYPES}, {92, TYPE_INT32},                 // unknown type, not the tag's type
        {80, ANDROID_SECTION_COUNT << 16}, {80, ANDROID_CONTROL_END},  // unknown tags
        {56, 16}, {72, 12}, {52, 0x40000000}, {68, 0xFFFFFFFF},  // payload outside used data
        {24, 25},                                          // data count off the 8-byte grid
        {84, 0},                                           // no elements, yet a data offset
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
    for (auto f : {std::pair<size_t, uint32_t>{32, 112}, {56, 0}, {72, 16}}) // on the grid, the same payloads pass
        setU32(offGrid.get(), f.first, f.second);
    EXPECT_EQ(offGrid.validate(), 0);
    // Misaligned entries, though none is in use and the array fits.
    ExactCopy odd(base.data(), base.size());
    for (auto f : {std::pair<size_t, uint32_t>{12, 0}, {24, 0}, {16, 3}, {20, 50}})
        setU32(odd.get(), f.first, f.second);
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

    MetadataPtr clone(clone_camera_metadata(in.get())), fresh = makeMetadata(3, 24);
    ASSERT_EQ(get_camera_metadata_size(clone.get()), 48u + 3 * 16 + 24);
    EXPECT_EQ(i32Of(clone.get(), ANDROID_SCALER_CROP_REGION), std::vector<int32_t>({0, 0, 640, 480}));
    ASSERT_EQ(append_camera_metadata(fresh.get(), in.get()), 0);
    EXPECT_EQ(bytesOf(fresh.get()), bytesOf(clone.get()));
    // Sorted in place: entries in tag order, flagged, found by binary search.
    ASSERT_EQ(sort_camera_metadata(in.get()), 0);
    camera_metadata_ro_entry_t e{};
    ASSERT_EQ(get_camera_metadata_ro_entry(in.get(), 0, &e), 0);
    EXPECT_TRUE(e.tag == ANDROID_CONTROL_AE_MODE && flags(in.get()) == 1 && in.validate() == 0);
    ASSERT_EQ(find_camera_metadata_ro_entry(in.get(), ANDROID_SENSOR_EXPOSURE_TIME, &e), 0);
    EXPECT_EQ(e.data.i64[0], 33333333);
}

namespace {

constexpr uint32_t kKnown = 0x80000000, kUnknown = 0x80000001;

// Like the framework's callbacks: 255 and null names for tags they do not know.
const vendor_tag_ops_t kOps = {
    [](const vendor_tag_ops_t*) { return 1; },
    [](const vendor_tag_ops_t*, uint32_t* tags) { tags[0] = kKnown; },
    [](const vendor_tag_ops_t*, uint32_t tag) { return tag == kKnown ? "com.tamo" : nullptr; },
    [](const vendor_tag_ops_t*, uint32_t tag) { return tag == kKnown ? "mode" : nullptr; },
    [](const vendor_tag_ops_t*, uint32_t tag) { return tag == kKnown ? int(TYPE_INT32) : 255; },
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

    set_camera_metadata_vendor_ops(nullptr);
    EXPECT_EQ(get_camera_metadata_tag_type(kKnown), -1);
}

TEST(CameraMetadataEnums, EveryLabelRoundTripsAndFailuresSayWhy) {
    ASSERT_EQ(std::size(kNamed), 295u);
    char text[CAMERA_METADATA_ENUM_STRING_MAX_SIZE];
    for (const Named& n : kNamed) {
        uint32_t value = 0;
        EXPECT_EQ(camera_metadata_enum_snprint(n.tag, uint32_t(n.value), text, sizeof(text)), 0) << n.label;
        EXPECT_STREQ(text, n.label);
        EXPECT_EQ(camera_metadata_enum_value(n.tag, n.label, strlen(n.label), &value), 0) << n.label;
        EXPECT_EQ(value, uint32_t(n.value)) << n.label;
    }

    char wide[64];  // the failure texts may be longer than any label
    EXPECT_EQ(camera_metadata_enum_snprint(ANDROID_SENSOR_ORIENTATION, 0, wide, sizeof(wide)), -1);
    EXPECT_STREQ(wide, "error: not an enum");
    EXPECT_EQ(camera_metadata_enum_snprint(ANDROID_LENS_FACING, 3, wide, sizeof(wide)), -1);
    EXPECT_STREQ(wide, "error: enum value out of range");
    EXPECT_EQ(camera_metadata_enum_snprint(ANDROID_LENS_FACING, 1, text, 4), 0);
    EXPECT_STREQ(text, "BAC");

    // At most size characters are compared: a shorter size matches the first
    // label that begins the same.
    uint32_t value = 9;
    EXPECT_EQ(camera_metadata_enum_value(ANDROID_CONTROL_AE_MODE, "ON_AUTO_FLASH", 2, &value), 0);
    EXPECT_EQ(value, uint32_t(ANDROID_CONTROL_AE_MODE_ON));
    EXPECT_EQ(camera_metadata_enum_value(ANDROID_LENS_FACING, "SIDEWAYS", 8, &value), -1);
    EXPECT_EQ(camera_metadata_enum_value(ANDROID_SENSOR_ORIENTATION, "BACK", 4, &value), -1);
    EXPECT_EQ(camera_metadata_enum_value(ANDROID_LENS_FACING, nullptr, 4, &value), -1);
    EXPECT_EQ(camera_metadata_enum_value(ANDROID_LENS_FACING, "BACK", 4, nullptr), -1);

    uint32_t count = 0;
    const int32_t* tags = get_camera_metadata_permission_needed(&count);
    const int32_t expected[] = {  // android.lens.*, android.lens.info.*, android.sensor.*
        0x80006, 0x80007, 0x8000a, 0x8000b, 0x8000c, 0x8000d, 0x90004, 0x90005,
        0xe0003, 0xe0004, 0xe0005, 0xe0006, 0xe0007, 0xe0008, 0xe0009, 0xe000a};
    ASSERT_EQ(count, std::size(expected));
    EXPECT_TRUE(std::equal(tags, tags + count, expected));
    EXPECT_EQ(get_camera_metadata_permission_needed(nullptr), nullptr);

    // The dump names what it can.
    const std::vector<uint8_t> bytes = basePacket();
    std::unique_ptr<FILE, int (*)(FILE*)> out(tmpfile(), fclose);
    dump_camera_metadata(reinterpret_cast<const camera_metadata_t*>(bytes.data()), fileno(out.get()), 2);
    std::string dump(4096, '\0');
    dump.resize(std::max<ssize_t>(pread(fileno(out.get()), dump.data(), dump.size(), 0), 0));
    EXPECT_NE(dump.find("android.control.aeMode (10003): byte[1]\n    [ON ]\n"), std::string::npos) << dump;
    EXPECT_NE(dump.find("    [0 0 640 480 ]\n"), std::string::npos) << dump;
}
