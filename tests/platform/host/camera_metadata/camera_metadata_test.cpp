// The host camera metadata library where it must match the platform: exact
// bytes and return codes, texts and enumerations, and each refusal. What
// edits, copies and lookups do to any valid packet, the library's fuzz
// target checks against its model.
#include <gtest/gtest.h>
#include <system/camera_metadata.h>
// Not self-contained, as on the device: after camera_metadata.h.
#include <camera_metadata_hidden.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <type_traits>
#include <vector>

namespace {

using MetadataPtr = std::unique_ptr<camera_metadata_t, decltype(&free_camera_metadata)>;

MetadataPtr makeMetadata(size_t entries, size_t data) {
    return MetadataPtr(allocate_camera_metadata(entries, data), free_camera_metadata);
}

void setU32(void* p, size_t offset, uint32_t v) { memcpy(static_cast<uint8_t*>(p) + offset, &v, sizeof(v)); }

std::vector<uint8_t> bytesOf(const camera_metadata_t* m) {
    const uint8_t* p = reinterpret_cast<const uint8_t*>(m);
    return std::vector<uint8_t>(p, p + get_camera_metadata_size(m));
}

const int32_t kFour[] = {1, 2, 3, 4};
const int64_t kExposure = 33333333;
const uint8_t kOn = 1;

// What another process builds for a crop region of three values, an
// exposure time and an AE mode, with room for a fourth entry and 8 more data
// bytes: header, entries (the mode's value inline), data. Every byte not in
// use is zero.
alignas(8) const uint32_t kPacket[] = {
    144, 1, 0, 3, 4, 48, 24, 32, 112, 0, 0xFFFFFFFF, 0xFFFFFFFF,
    0xD0000, 3, 0, TYPE_INT32, 0xE0000, 1, 16, TYPE_INT64, 0x10003, 1, kOn, TYPE_BYTE, 0, 0, 0, 0,
    1, 2, 3, 0, 33333333, 0, 0, 0};

// A heap copy of exactly `n` bytes placed `shift` bytes into its block, so
// that ASan reports any access past the packet.
struct ExactCopy {
    ExactCopy(const void* src, size_t n, size_t shift = 0) : bytes(n + shift), size(n) { memcpy(get(), src, n); }
    camera_metadata_t* get() { return reinterpret_cast<camera_metadata_t*>(&bytes[bytes.size() - size]); }
    int validate() { return validate_camera_metadata_structure(get(), &size); }
    std::vector<uint8_t> bytes;
    size_t size;
};

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

TEST(CameraMetadataLayout, SizesAndInlinePayloads) {
    EXPECT_EQ(calculate_camera_metadata_size(0, 0), 48u);
    EXPECT_EQ(calculate_camera_metadata_size(400, 180000), 186448u);
    EXPECT_EQ(calculate_camera_metadata_size(SIZE_MAX / 16, 0), SIZE_MAX);
    EXPECT_EQ(allocate_camera_metadata(0, UINT32_MAX), nullptr); // the size field is 32 bits wide
    EXPECT_EQ(get_camera_metadata_size(makeMetadata(3, 20).get()), 120u);
    EXPECT_EQ(get_camera_metadata_alignment(), 8u);

    const size_t dataSizes[][3] = {  // type, count, data-area bytes
        {TYPE_BYTE, 4, 0},  {TYPE_BYTE, 5, 8},      {TYPE_BYTE, 17, 24},
        {TYPE_INT32, 1, 0}, {TYPE_FLOAT, 3, 16},    {TYPE_INT64, 1, 8},
        {TYPE_DOUBLE, 3, 24}, {TYPE_RATIONAL, 1, 8}, {NUM_TYPES, 100, 0}};
    for (const auto& s : dataSizes)
        EXPECT_EQ(calculate_camera_metadata_entry_data_size(s[0], s[1]), s[2]) << s[0] << "x" << s[1];
}

// Built where a freed block of the same size lay dirty, and again the long
// way round: a fourth entry first that is then deleted (its data goes, later
// data moves down, and neither its entry nor its data bytes stay behind),
// and the crop region at four values, then three in the same data bytes.
TEST(CameraMetadataLayout, PacketMatchesThePlatformByteForByte) {
    const int32_t fps[] = {15, 30};
    for (bool detour : {false, true}) {
        void* old = malloc(sizeof(kPacket));
        memset(old, 0xAA, sizeof(kPacket));
        free(old);
        MetadataPtr m = makeMetadata(4, 32);
        if (detour) {
            ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_TARGET_FPS_RANGE, fps, 2), 0);
        }
        ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, kFour, detour ? 4 : 3), 0);
        ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_SENSOR_EXPOSURE_TIME, &kExposure, 1), 0);
        ASSERT_EQ(add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_MODE, &kOn, 1), 0);
        if (detour) {
            ASSERT_EQ(delete_camera_metadata_entry(m.get(), 0), 0);
            ASSERT_EQ(update_camera_metadata_entry(m.get(), 0, kFour, 3, nullptr), 0);
        }
        ASSERT_EQ(get_camera_metadata_size(m.get()), sizeof(kPacket));
        EXPECT_EQ(0, memcmp(m.get(), kPacket, sizeof(kPacket))) << "detour " << detour;
    }
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

// Edits that do not fit, or would move data that another entry shares, are
// refused with 1 and leave every byte as it was. A packet from elsewhere may
// point two entries at overlapping data; taking one's bytes out of the data
// area would leave the other reaching outside its data, or rebased to below
// the data area.
TEST(CameraMetadataEdit, RefusalsAnswerOneAndLeaveThePacketAsItWas) {
    MetadataPtr m = makeMetadata(3, 48);
    const int32_t crop[] = {10, 20, 30, 40}, fps[] = {15, 30}, region[] = {5, 6}, big[8] = {};
    add_camera_metadata_entry(m.get(), ANDROID_SCALER_CROP_REGION, crop, 4);          // data 0-15
    add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_TARGET_FPS_RANGE, fps, 2);  // data 16-23
    add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_REGIONS, region, 2);        // data 24-31
    setU32(m.get(), 48 + 16 + 8, 8);  // the fps range now lies inside the crop region
    size_t size = get_camera_metadata_size(m.get());
    ASSERT_EQ(validate_camera_metadata_structure(m.get(), &size), 0);

    // Two entries filling the data area exactly, one of them empty.
    MetadataPtr two = makeMetadata(2, 8);
    EXPECT_EQ(add_camera_metadata_entry(two.get(), ANDROID_SCALER_CROP_REGION, nullptr, 4), 1);
    EXPECT_EQ(add_camera_metadata_entry(two.get(), ANDROID_CONTROL_END, &kOn, 1), 1);
    EXPECT_EQ(add_camera_metadata_entry(two.get(), ANDROID_SENSOR_EXPOSURE_TIME, &kExposure, 1), 0);
    EXPECT_EQ(add_camera_metadata_entry(two.get(), ANDROID_SCALER_CROP_REGION, kFour, 2), 1);
    EXPECT_EQ(add_camera_metadata_entry(two.get(), ANDROID_SCALER_CROP_REGION, nullptr, 0), 0);
    MetadataPtr noData = makeMetadata(4, 0), otherVendor = makeMetadata(4, 16);
    set_camera_metadata_vendor_id(two.get(), 5);
    set_camera_metadata_vendor_id(otherVendor.get(), 6);

    const std::vector<uint8_t> before = bytesOf(m.get());
    EXPECT_EQ(delete_camera_metadata_entry(m.get(), 0), 1);
    EXPECT_EQ(delete_camera_metadata_entry(m.get(), 1), 1);
    EXPECT_EQ(update_camera_metadata_entry(m.get(), 0, crop, 2, nullptr), 1);
    EXPECT_EQ(update_camera_metadata_entry(m.get(), 1, fps, 4, nullptr), 1);
    EXPECT_EQ(update_camera_metadata_entry(m.get(), 2, big, 8, nullptr), 1);  // no room
    EXPECT_EQ(add_camera_metadata_entry(m.get(), ANDROID_CONTROL_AE_MODE, &kOn, 1), 1);
    EXPECT_EQ(append_camera_metadata(m.get(), two.get()), 1);
    EXPECT_EQ(bytesOf(m.get()), before);
    EXPECT_EQ(append_camera_metadata(noData.get(), two.get()), 1);
    EXPECT_EQ(append_camera_metadata(otherVendor.get(), two.get()), 1);

    // Null packets and arguments.
    for (int res : {append_camera_metadata(m.get(), nullptr), append_camera_metadata(nullptr, m.get()),
                    sort_camera_metadata(nullptr), add_camera_metadata_entry(nullptr, 0, nullptr, 0),
                    find_camera_metadata_entry(nullptr, 0, nullptr), find_camera_metadata_ro_entry(nullptr, 0, nullptr),
                    delete_camera_metadata_entry(nullptr, 0), get_camera_metadata_entry(m.get(), 0, nullptr),
                    update_camera_metadata_entry(nullptr, 0, nullptr, 0, nullptr),
                    set_camera_metadata_vendor_tag_ops(nullptr)})
        EXPECT_EQ(res, 1);
    EXPECT_EQ(clone_camera_metadata(nullptr), nullptr);
    EXPECT_EQ(copy_camera_metadata(nullptr, 0, m.get()), nullptr);
    EXPECT_EQ(get_camera_metadata_size(nullptr), 1u);
    EXPECT_EQ(get_camera_metadata_compact_size(nullptr), 1u);
    EXPECT_EQ(copy_camera_metadata(nullptr, 0, nullptr), nullptr); // dst is looked at first
}

// The device reads these without a NULL check and faults; so must the host.
TEST(CameraMetadataEditDeathTest, UncheckedCallsStopOnANullPacket) {
    EXPECT_DEATH(get_camera_metadata_entry_count(nullptr), "get_camera_metadata_entry_count: NULL packet");
    EXPECT_DEATH(get_camera_metadata_entry_capacity(nullptr), "get_camera_metadata_entry_capacity: NULL");
    EXPECT_DEATH(get_camera_metadata_data_count(nullptr), "get_camera_metadata_data_count: NULL");
    EXPECT_DEATH(get_camera_metadata_data_capacity(nullptr), "get_camera_metadata_data_capacity: NULL");
    alignas(8) char room[256];
    EXPECT_DEATH(copy_camera_metadata(room, sizeof(room), nullptr), "copy_camera_metadata: NULL");
}

// Payloads of every size, added over dirty bytes: each lands whole with the
// rest of its inline value or data slot cleared, and an update that reads
// from the entry's own slot copies the bytes as they were.
TEST(CameraMetadataEdit, PayloadsOfEverySizeLandWithTheirSlotTailsCleared) {
    const size_t kCounts = 25, kData = 352;  // byte payloads of 0 to 24: slots of 8, 16 and 24 bytes
    alignas(8) uint8_t storage[48 + kCounts * 16 + kData];
    memset(storage, 0xAA, sizeof(storage));
    camera_metadata_t* m = place_camera_metadata(storage, sizeof(storage), kCounts, kData);
    ASSERT_NE(m, nullptr);
    uint8_t values[24];
    for (size_t i = 0; i < sizeof(values); ++i)
        values[i] = uint8_t(i + 1);
    for (size_t count = 0; count < kCounts; ++count)
        ASSERT_EQ(add_camera_metadata_entry(m, ANDROID_CONTROL_AE_AVAILABLE_MODES, values, count), 0) << count;
    ASSERT_EQ(get_camera_metadata_data_count(m), kData);

    auto expectPayload = [&](size_t count, const uint8_t* payload) {
        camera_metadata_ro_entry_t e;
        ASSERT_EQ(get_camera_metadata_ro_entry(m, count, &e), 0);
        const size_t slot = count <= 4 ? 4 : (count + 7) / 8 * 8;
        std::vector<uint8_t> expected(payload, payload + count);
        expected.resize(slot);
        EXPECT_EQ(std::vector<uint8_t>(e.data.u8, e.data.u8 + slot), expected) << count;
    };
    for (size_t count = 0; count < kCounts; ++count)
        expectPayload(count, values);

    for (size_t count : {5, 8, 13, 16, 23}) {
        camera_metadata_entry_t e;
        ASSERT_EQ(get_camera_metadata_entry(m, count, &e), 0);
        const std::vector<uint8_t> shifted(e.data.u8 + 1, e.data.u8 + 1 + count);
        ASSERT_EQ(update_camera_metadata_entry(m, count, e.data.u8 + 1, count, nullptr), 0);
        expectPayload(count, shifted.data());
    }
}

// Find answers the first of equal tags, in entry order or, in a packet flagged
// sorted, by halves. A packet flagged sorted that is not is searched the same
// way, probing as the platform does: it finds the middle tag and misses the
// tags the halves pass by.
TEST(CameraMetadataFind, ASortedPacketIsSearchedByHalvesForTheFirstOfEqualTags) {
    std::vector<uint32_t> byteTags;
    for (uint32_t s = 0; s < ANDROID_SECTION_COUNT; ++s)
        for (uint32_t tag = camera_metadata_section_bounds[s][0]; tag < camera_metadata_section_bounds[s][1]; ++tag)
            if (get_camera_metadata_tag_type(tag) == TYPE_BYTE)
                byteTags.push_back(tag);
    ASSERT_GE(byteTags.size(), 42u);
    for (size_t n : {1, 2, 3, 7, 16, 17, 40}) {
        // Every other tag, each twice, in a scrambled order.
        const size_t distinct = (n + 1) / 2;
        std::vector<uint32_t> added;
        MetadataPtr m = makeMetadata(n, 0);
        for (size_t i = 0; i < n; ++i) {
            added.push_back(byteTags[1 + 2 * ((i * 7) % distinct)]);
            ASSERT_EQ(add_camera_metadata_entry(m.get(), added.back(), &kOn, 1), 0);
        }
        for (bool sorted : {false, true}) {
            if (sorted) {
                ASSERT_EQ(sort_camera_metadata(m.get()), 0);
                std::stable_sort(added.begin(), added.end());
            }
            for (uint32_t tag : {byteTags[0], byteTags[2], byteTags[2 * distinct + 1], 0u, 0xFFFFFFFFu}) {
                camera_metadata_ro_entry_t e;
                EXPECT_EQ(find_camera_metadata_ro_entry(m.get(), tag, &e), -ENOENT) << n << " " << tag;
            }
            for (uint32_t tag : added) {
                camera_metadata_entry_t e;
                ASSERT_EQ(find_camera_metadata_entry(m.get(), tag, &e), 0) << n << " " << tag;
                EXPECT_EQ(e.index, size_t(std::find(added.begin(), added.end(), tag) - added.begin()))
                    << n << " " << tag << " sorted " << sorted;
            }
        }
    }

    MetadataPtr m = makeMetadata(3, 0);
    for (uint32_t tag : {byteTags[2], byteTags[1], byteTags[0]})
        ASSERT_EQ(add_camera_metadata_entry(m.get(), tag, &kOn, 1), 0);
    camera_metadata_ro_entry_t e;
    for (uint32_t flags : {0u, 1u}) {
        setU32(m.get(), 8, flags);
        EXPECT_EQ(find_camera_metadata_ro_entry(m.get(), byteTags[1], &e), 0);
        EXPECT_EQ(e.index, 1u);
        EXPECT_EQ(find_camera_metadata_ro_entry(m.get(), byteTags[0], &e), flags ? -ENOENT : 0);
        EXPECT_EQ(find_camera_metadata_ro_entry(m.get(), byteTags[2], &e), flags ? -ENOENT : 0);
    }
}

TEST(CameraMetadataValidate, AcceptsWhatFitsItsSizeAndRejectsEveryCorruptField) {
    ExactCopy good(kPacket, sizeof(kPacket)), headerOnly(kPacket, 47), shifted(kPacket, sizeof(kPacket), 4);
    EXPECT_EQ(good.validate(), 0);
    EXPECT_EQ(headerOnly.validate(), 1);
    EXPECT_EQ(validate_camera_metadata_structure(nullptr, nullptr), 1);
    EXPECT_EQ(shifted.validate(), CAMERA_METADATA_VALIDATION_SHIFTED);

    using Patch = std::vector<std::pair<size_t, uint32_t>>;  // {byte offset, value}
    const Patch refused[] = {
        {{0, 145}}, {{0, 136}},                             // size past the buffer or the data
        {{12, 5}}, {{24, 33}},                              // counts beyond capacities
        {{20, 40}}, {{16, 5}}, {{16, 0x10000000}},          // entries misplaced or wrapping
        {{32, 104}}, {{32, 120}}, {{28, 0xFFFFFFF8}},       // data area misplaced or wrapping
        {{60, NUM_TYPES}}, {{92, TYPE_INT32}},              // unknown type, not the tag's type
        {{80, ANDROID_SECTION_COUNT << 16}}, {{80, ANDROID_CONTROL_END}},  // unknown tags
        {{56, 16}}, {{72, 12}}, {{52, 0x40000000}}, {{68, 0xFFFFFFFF}},  // payload outside used data
        {{24, 25}},                                         // data count off the 8-byte grid
        {{84, 0}},                                          // no elements, yet a data offset
        // Payloads aligned where they are, in a data area that starts off the
        // grid: a copy, which starts it on the grid, would misalign them.
        {{32, 116}, {28, 28}, {56, 4}, {72, 12}},
        {{12, 0}, {24, 0}, {16, 3}, {20, 50}},              // misaligned entries, though none is in use
    };
    // On the grid the same data area passes; vendor tags are not checked against a table.
    const Patch accepted[] = {{{28, 28}}, {{80, 0x80010002}}};
    auto validate = [](const Patch& patch) {
        ExactCopy copy(kPacket, sizeof(kPacket));
        for (const auto& [offset, value] : patch)
            setU32(copy.get(), offset, value);
        return copy.validate();
    };
    for (const Patch& patch : refused)
        EXPECT_EQ(validate(patch), CAMERA_METADATA_VALIDATION_ERROR) << patch[0].first << " = " << patch[0].second;
    for (const Patch& patch : accepted)
        EXPECT_EQ(validate(patch), 0) << patch[0].first << " = " << patch[0].second;
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
    std::unique_ptr<FILE, int (*)(FILE*)> out(tmpfile(), fclose);
    dump_camera_metadata(nullptr, fileno(out.get()), 2);
    dump_camera_metadata(reinterpret_cast<const camera_metadata_t*>(kPacket), fileno(out.get()), 2);
    std::string dump(4096, '\0');
    dump.resize(std::max<ssize_t>(pread(fileno(out.get()), dump.data(), dump.size(), 0), 0));
    EXPECT_EQ(dump.rfind("Dumping camera metadata array: Not allocated\n", 0), 0u) << dump;
    EXPECT_NE(dump.find("android.control.aeMode (10003): byte[1]\n    [ON ]\n"), std::string::npos) << dump;
    EXPECT_NE(dump.find("    [1 2 3 ]\n"), std::string::npos) << dump;
}
