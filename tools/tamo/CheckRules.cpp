#include "CheckRules.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <tuple>

#include <fmt/format.h>

#include "MetaValues.h"

namespace tamo::tool {

namespace {

// The first entry of each tag, in packet order: what a lookup by tag sees.
std::vector<camera_metadata_ro_entry_t> firstEntries(const camera_metadata_t* packet)
{
    std::vector<camera_metadata_ro_entry_t> entries;
    std::set<uint32_t> seen;
    camera_metadata_ro_entry_t entry{};
    for (size_t i = 0; get_camera_metadata_ro_entry(packet, i, &entry) == 0; i++) {
        if (seen.insert(entry.tag).second)
            entries.push_back(entry);
    }
    return entries;
}

using Mask = uint32_t;
constexpr Mask bit(int value) { return Mask{1} << value; }

constexpr Mask kLimited = bit(ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_LIMITED);
constexpr Mask kFull = bit(ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_FULL);
constexpr Mask kLegacy = bit(ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_LEGACY);
constexpr Mask kLevel3 = bit(ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_3);
constexpr Mask kExternal = bit(ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL_EXTERNAL);
constexpr Mask kEveryLevel = kLimited | kFull | kLegacy | kLevel3 | kExternal;
constexpr Mask kLimitedUp = kLimited | kFull | kLevel3;
constexpr Mask kFullUp = kFull | kLevel3;

constexpr Mask kBackward = bit(ANDROID_REQUEST_AVAILABLE_CAPABILITIES_BACKWARD_COMPATIBLE);
constexpr Mask kManualSensor = bit(ANDROID_REQUEST_AVAILABLE_CAPABILITIES_MANUAL_SENSOR);
constexpr Mask kManualPost = bit(ANDROID_REQUEST_AVAILABLE_CAPABILITIES_MANUAL_POST_PROCESSING);
constexpr Mask kRaw = bit(ANDROID_REQUEST_AVAILABLE_CAPABILITIES_RAW);
constexpr Mask kPrivateReprocessing = bit(ANDROID_REQUEST_AVAILABLE_CAPABILITIES_PRIVATE_REPROCESSING);
constexpr Mask kBurst = bit(ANDROID_REQUEST_AVAILABLE_CAPABILITIES_BURST_CAPTURE);
constexpr Mask kYuvReprocessing = bit(ANDROID_REQUEST_AVAILABLE_CAPABILITIES_YUV_REPROCESSING);
constexpr Mask kDepth = bit(ANDROID_REQUEST_AVAILABLE_CAPABILITIES_DEPTH_OUTPUT);
constexpr Mask kLogical = bit(ANDROID_REQUEST_AVAILABLE_CAPABILITIES_LOGICAL_MULTI_CAMERA);

constexpr int32_t kBlob = ANDROID_SCALER_AVAILABLE_FORMATS_BLOB;
constexpr int32_t kYuv = ANDROID_SCALER_AVAILABLE_FORMATS_YCbCr_420_888;

// The characteristics with the hardware level and capabilities the rules
// are chosen by.
class Camera {
public:
    Camera(const camera_metadata_t* packet, const std::vector<std::string>* ids) : mPacket(packet), mIds(ids)
    {
        if (auto level = find(ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL); level && level->count == 1)
            mLevel = bit(int(number(*level, 0)));
        if (auto capabilities = find(ANDROID_REQUEST_AVAILABLE_CAPABILITIES)) {
            for (size_t i = 0; i < capabilities->count; i++)
                mCapabilities |= bit(int(number(*capabilities, i)) & 31);
        }
    }

    // Only with the tag's own type, so that checkers read what they expect.
    std::optional<camera_metadata_ro_entry_t> find(uint32_t tag) const
    {
        camera_metadata_ro_entry_t entry{};
        if (find_camera_metadata_ro_entry(mPacket, tag, &entry) != 0 ||
            entry.type != get_camera_metadata_tag_type(tag))
            return std::nullopt;
        return entry;
    }
    bool carries(uint32_t tag) const
    {
        camera_metadata_ro_entry_t entry{};
        return find_camera_metadata_ro_entry(mPacket, tag, &entry) == 0;
    }

    static double number(const camera_metadata_ro_entry_t& entry, size_t i)
    {
        switch (entry.type) {
        case TYPE_BYTE: return entry.data.u8[i];
        case TYPE_INT32: return entry.data.i32[i];
        case TYPE_INT64: return double(entry.data.i64[i]);
        case TYPE_FLOAT: return entry.data.f[i];
        case TYPE_DOUBLE: return entry.data.d[i];
        default: {
            const camera_metadata_rational_t& r = entry.data.r[i];
            return r.denominator == 0 ? 0 : double(r.numerator) / r.denominator;
        }
        }
    }
    std::vector<double> numbers(uint32_t tag) const
    {
        std::vector<double> values;
        if (auto entry = find(tag)) {
            for (size_t i = 0; i < entry->count; i++)
                values.push_back(number(*entry, i));
        }
        return values;
    }
    bool has(uint32_t tag, double value) const
    {
        const std::vector<double> values = numbers(tag);
        return std::find(values.begin(), values.end(), value) != values.end();
    }

    const camera_metadata_t* packet() const { return mPacket; }
    const std::vector<std::string>* cameraIds() const { return mIds; }
    Mask level() const { return mLevel; }
    Mask capabilities() const { return mCapabilities; }

private:
    const camera_metadata_t* mPacket;
    const std::vector<std::string>* mIds;
    Mask mLevel = kLegacy; // the least asked of, when the level is missing
    Mask mCapabilities = 0;
};

struct Rule;
class Report;
using Checker = void (*)(const Camera&, const Rule&, Report&);

struct Rule {
    const char* id;
    Severity severity;
    Mask levels;       // applies at these hardware levels,
    Mask capabilities; // or with any of these capabilities,
    Mask notAt;        // but never at these levels
    Checker check;
    std::vector<uint32_t> tags;
    std::vector<double> args;
    const char* statement;

    bool appliesTo(const Camera& camera) const
    {
        return (notAt & camera.level()) == 0 &&
               ((levels & camera.level()) != 0 || (capabilities & camera.capabilities()) != 0);
    }
};

class Report {
public:
    template <typename... Args>
    void add(const Rule& rule, std::vector<uint32_t> tags, fmt::format_string<Args...> format, Args&&... args)
    {
        Finding finding{rule.severity, rule.id, {}, fmt::format(format, std::forward<Args>(args)...)};
        for (uint32_t tag : tags)
            finding.keys.push_back(tagName(tag));
        findings.push_back(std::move(finding));
    }
    std::vector<Finding> findings;
};

std::string formatName(int32_t format)
{
    switch (format) {
    case kBlob: return "BLOB";
    case kYuv: return "YUV_420_888";
    case ANDROID_SCALER_AVAILABLE_FORMATS_IMPLEMENTATION_DEFINED: return "PRIVATE";
    case ANDROID_SCALER_AVAILABLE_FORMATS_RAW16: return "RAW16";
    case ANDROID_SCALER_AVAILABLE_FORMATS_RAW10: return "RAW10";
    case ANDROID_SCALER_AVAILABLE_FORMATS_RAW12: return "RAW12";
    case ANDROID_SCALER_AVAILABLE_FORMATS_Y8: return "Y8";
    default: return fmt::format("{:#x}", format);
    }
}

// The OUTPUT (or INPUT) configurations of a (format, width, height, direction) list.
std::vector<std::tuple<int32_t, int32_t, int32_t>> configurations(const Camera& camera, uint32_t tag,
                                                                   int32_t direction)
{
    std::vector<std::tuple<int32_t, int32_t, int32_t>> found;
    if (auto entry = camera.find(tag)) {
        for (size_t i = 0; i + 4 <= entry->count; i += 4) {
            const int32_t* c = entry->data.i32 + i;
            if (c[3] == direction)
                found.emplace_back(c[0], c[1], c[2]);
        }
    }
    return found;
}

// The tag whose labels a list of available modes takes.
uint32_t labelTag(uint32_t tag)
{
    static const std::map<uint32_t, uint32_t> modes = {
        {ANDROID_CONTROL_AE_AVAILABLE_MODES, ANDROID_CONTROL_AE_MODE},
        {ANDROID_CONTROL_AF_AVAILABLE_MODES, ANDROID_CONTROL_AF_MODE},
        {ANDROID_CONTROL_AWB_AVAILABLE_MODES, ANDROID_CONTROL_AWB_MODE},
        {ANDROID_CONTROL_AVAILABLE_MODES, ANDROID_CONTROL_MODE},
        {ANDROID_CONTROL_AE_AVAILABLE_ANTIBANDING_MODES, ANDROID_CONTROL_AE_ANTIBANDING_MODE},
        {ANDROID_CONTROL_AVAILABLE_EFFECTS, ANDROID_CONTROL_EFFECT_MODE},
        {ANDROID_CONTROL_AVAILABLE_SCENE_MODES, ANDROID_CONTROL_SCENE_MODE},
        {ANDROID_CONTROL_AVAILABLE_VIDEO_STABILIZATION_MODES, ANDROID_CONTROL_VIDEO_STABILIZATION_MODE},
        {ANDROID_LENS_INFO_AVAILABLE_OPTICAL_STABILIZATION, ANDROID_LENS_OPTICAL_STABILIZATION_MODE},
        {ANDROID_STATISTICS_INFO_AVAILABLE_FACE_DETECT_MODES, ANDROID_STATISTICS_FACE_DETECT_MODE},
        {ANDROID_STATISTICS_INFO_AVAILABLE_HOT_PIXEL_MAP_MODES, ANDROID_STATISTICS_HOT_PIXEL_MAP_MODE},
        {ANDROID_STATISTICS_INFO_AVAILABLE_LENS_SHADING_MAP_MODES, ANDROID_STATISTICS_LENS_SHADING_MAP_MODE},
        {ANDROID_NOISE_REDUCTION_AVAILABLE_NOISE_REDUCTION_MODES, ANDROID_NOISE_REDUCTION_MODE},
        {ANDROID_EDGE_AVAILABLE_EDGE_MODES, ANDROID_EDGE_MODE},
        {ANDROID_COLOR_CORRECTION_AVAILABLE_ABERRATION_MODES, ANDROID_COLOR_CORRECTION_ABERRATION_MODE},
        {ANDROID_HOT_PIXEL_AVAILABLE_HOT_PIXEL_MODES, ANDROID_HOT_PIXEL_MODE},
        {ANDROID_SHADING_AVAILABLE_MODES, ANDROID_SHADING_MODE},
        {ANDROID_TONEMAP_AVAILABLE_TONE_MAP_MODES, ANDROID_TONEMAP_MODE},
    };
    const auto mode = modes.find(tag);
    return mode == modes.end() ? tag : mode->second;
}

// The value's label, empty when it has none.
std::string label(uint32_t tag, double value)
{
    char text[CAMERA_METADATA_ENUM_STRING_MAX_SIZE];
    if (value < 0 || value > UINT32_MAX ||
        camera_metadata_enum_snprint(labelTag(tag), uint32_t(value), text, sizeof(text)) != 0)
        return "";
    return text;
}

// ---- checkers, generic over the table's tags and arguments ----

void present(const Camera& camera, const Rule& rule, Report& report)
{
    for (uint32_t tag : rule.tags) {
        if (!camera.carries(tag))
            report.add(rule, {tag}, "absent");
    }
}

void typed(const Camera& camera, const Rule& rule, Report& report)
{
    for (const camera_metadata_ro_entry_t& entry : firstEntries(camera.packet())) {
        const int type = get_camera_metadata_tag_type(entry.tag);
        if (type >= 0 && type < NUM_TYPES && type != entry.type)
            report.add(rule, {entry.tag}, "of type {}, the tag's type is {}",
                       camera_metadata_type_names[entry.type], camera_metadata_type_names[type]);
    }
}

void counted(const Camera& camera, const Rule& rule, Report& report)
{
    for (uint32_t tag : rule.tags) {
        if (auto entry = camera.find(tag); entry && entry->count != size_t(rule.args[0]))
            report.add(rule, {tag}, "{} values, not {}", entry->count, rule.args[0]);
    }
}

void tupled(const Camera& camera, const Rule& rule, Report& report)
{
    for (uint32_t tag : rule.tags) {
        if (auto entry = camera.find(tag); entry && entry->count % size_t(rule.args[0]) != 0)
            report.add(rule, {tag}, "{} values, not whole tuples of {}", entry->count, rule.args[0]);
    }
}

// Labelled values only; from args[0] on, the vendor's own values.
void labelled(const Camera& camera, const Rule& rule, Report& report)
{
    for (uint32_t tag : rule.tags) {
        auto entry = camera.find(tag);
        for (size_t i = 0; entry && i < entry->count; i++) {
            const double value = Camera::number(*entry, i);
            if ((rule.args.empty() || value < rule.args[0]) && label(tag, value).empty())
                report.add(rule, {tag}, "[{}] {} has no label", i, value);
        }
    }
}

void oneOf(const Camera& camera, const Rule& rule, Report& report)
{
    for (uint32_t tag : rule.tags) {
        for (double value : camera.numbers(tag)) {
            if (std::find(rule.args.begin(), rule.args.end(), value) == rule.args.end())
                report.add(rule, {tag}, "{} is not one of {}", value, fmt::join(rule.args, ", "));
        }
    }
}

void atLeast(const Camera& camera, const Rule& rule, Report& report)
{
    for (uint32_t tag : rule.tags) {
        const std::vector<double> values = camera.numbers(tag);
        for (size_t i = 0; i < values.size(); i++) {
            if (values[i] < rule.args[0])
                report.add(rule, {tag}, "[{}] {} is below {}", i, values[i], rule.args[0]);
        }
    }
}

// (min, max) pairs.
void ordered(const Camera& camera, const Rule& rule, Report& report)
{
    for (uint32_t tag : rule.tags) {
        const std::vector<double> values = camera.numbers(tag);
        for (size_t i = 0; i + 1 < values.size(); i += 2) {
            if (values[i] > values[i + 1])
                report.add(rule, {tag}, "({}, {}): min above max", values[i], values[i + 1]);
        }
    }
}

void containsZero(const Camera& camera, const Rule& rule, Report& report)
{
    for (uint32_t tag : rule.tags) {
        const std::vector<double> range = camera.numbers(tag);
        if (range.size() == 2 && (range[0] > 0 || range[1] < 0))
            report.add(rule, {tag}, "({}, {}) does not contain 0", range[0], range[1]);
    }
}

void holds(const Camera& camera, const Rule& rule, Report& report)
{
    for (uint32_t tag : rule.tags) {
        if (!camera.find(tag))
            continue; // absent is presence's finding
        for (double value : rule.args) {
            if (!camera.has(tag, value))
                report.add(rule, {tag}, "no {}", label(tag, value));
        }
    }
}

void namesTags(const Camera& camera, const Rule& rule, Report& report)
{
    for (uint32_t tag : rule.tags) {
        for (double value : camera.numbers(tag)) {
            if (get_camera_metadata_tag_type(uint32_t(int64_t(value))) < 0)
                report.add(rule, {tag}, "names {:#010x}, no known tag", uint32_t(int64_t(value)));
        }
    }
}

const std::vector<Rule>& rules();

bool exempt(const Rule& rule, uint32_t tag)
{
    return std::find(rule.tags.begin(), rule.tags.end(), tag) != rule.tags.end();
}

// The keys presence rules ask of this camera, in the characteristics list;
// tags are those the framework reads without a listing.
void mandatoryListed(const Camera& camera, const Rule& rule, Report& report)
{
    const std::vector<double> listed = camera.numbers(ANDROID_REQUEST_AVAILABLE_CHARACTERISTICS_KEYS);
    if (listed.empty())
        return;
    for (const Rule& other : rules()) {
        if (other.check != present || !other.appliesTo(camera))
            continue;
        for (uint32_t tag : other.tags) {
            if (!exempt(rule, tag) && camera.carries(tag) && std::find(listed.begin(), listed.end(), double(tag)) == listed.end())
                report.add(rule, {ANDROID_REQUEST_AVAILABLE_CHARACTERISTICS_KEYS, tag}, "{} is carried but not listed",
                           tagName(tag));
        }
    }
}

// Every carried key listed and every listed key carried.
void listedCarried(const Camera& camera, const Rule& rule, Report& report)
{
    const uint32_t keys = ANDROID_REQUEST_AVAILABLE_CHARACTERISTICS_KEYS;
    const std::vector<double> values = camera.numbers(keys);
    if (values.empty())
        return;
    const std::set<double> listed(values.begin(), values.end());
    for (double tag : listed) {
        if (get_camera_metadata_tag_type(uint32_t(tag)) >= 0 && !camera.carries(uint32_t(tag)) &&
            !exempt(rule, uint32_t(tag)))
            report.add(rule, {keys}, "lists {}, which is absent", tagName(uint32_t(tag)));
    }
    for (const camera_metadata_ro_entry_t& entry : firstEntries(camera.packet())) {
        if (!exempt(rule, entry.tag) && entry.tag < uint32_t(VENDOR_SECTION_START) && listed.count(entry.tag) == 0)
            report.add(rule, {keys}, "does not list {}", tagName(entry.tag));
    }
}

// tags[0] configurations, tags[1] durations; args the formats looked at:
// all when empty, all but those listed after a leading -1.
void durationFor(const Camera& camera, const Rule& rule, Report& report)
{
    const bool but = !rule.args.empty() && rule.args[0] == -1;
    std::set<std::tuple<int32_t, int32_t, int32_t>> timed;
    if (auto durations = camera.find(rule.tags[1])) {
        for (size_t i = 0; i + 4 <= durations->count; i += 4) {
            const int64_t* d = durations->data.i64 + i;
            timed.emplace(int32_t(d[0]), int32_t(d[1]), int32_t(d[2]));
        }
    }
    for (const auto& [format, width, height] : configurations(camera, rule.tags[0], 0)) {
        const bool listed = std::find(rule.args.begin(), rule.args.end(), format) != rule.args.end();
        const bool wanted = rule.args.empty() || listed != but;
        if (wanted && timed.count({format, width, height}) == 0)
            report.add(rule, {rule.tags[1]}, "no entry for output {} {}x{}", formatName(format), width, height);
    }
}

void outputsFor(const Camera& camera, const Rule& rule, Report& report)
{
    const uint32_t tag = ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS;
    if (!camera.find(tag))
        return;
    const auto outputs = configurations(camera, tag, 0);
    for (double format : rule.args) {
        if (std::none_of(outputs.begin(), outputs.end(),
                         [&](const auto& c) { return std::get<0>(c) == int32_t(format); }))
            report.add(rule, {tag}, "no {} output", formatName(int32_t(format)));
    }
}

void largestJpegIsYuv(const Camera& camera, const Rule& rule, Report& report)
{
    const uint32_t tag = ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS;
    const auto outputs = configurations(camera, tag, 0);
    std::optional<std::pair<int32_t, int32_t>> largest;
    for (const auto& [format, width, height] : outputs) {
        if (format == kBlob && (!largest || int64_t(width) * height > int64_t(largest->first) * largest->second))
            largest = {{width, height}};
    }
    if (largest && std::find(outputs.begin(), outputs.end(), std::make_tuple(kYuv, largest->first, largest->second)) ==
                       outputs.end())
        report.add(rule, {tag}, "the largest BLOB output {}x{} is no YUV_420_888 output", largest->first,
                   largest->second);
}

// tags[0] a rectangle (x, y, w, h) that must lie inside tags[1], a size (w, h).
void insideArray(const Camera& camera, const Rule& rule, Report& report)
{
    const std::vector<double> inner = camera.numbers(rule.tags[0]);
    const std::vector<double> outer = camera.numbers(rule.tags[1]);
    if (inner.size() == 4 && outer.size() == 2 &&
        (inner[0] < 0 || inner[1] < 0 || inner[2] <= 0 || inner[3] <= 0 || inner[0] + inner[2] > outer[0] ||
         inner[1] + inner[3] > outer[1]))
        report.add(rule, {rule.tags[0], rule.tags[1]}, "({}, {}, {}, {}) is not inside {}x{}", inner[0], inner[1],
                   inner[2], inner[3], outer[0], outer[1]);
}

// tags[0] a rectangle no larger than the rectangle tags[1].
void noLarger(const Camera& camera, const Rule& rule, Report& report)
{
    const std::vector<double> inner = camera.numbers(rule.tags[0]);
    const std::vector<double> outer = camera.numbers(rule.tags[1]);
    if (inner.size() == 4 && outer.size() == 4 && (inner[2] > outer[2] || inner[3] > outer[3]))
        report.add(rule, {rule.tags[0], rule.tags[1]}, "{}x{} is larger than {}x{}", inner[2], inner[3], outer[2],
                   outer[3]);
}

void flashModes(const Camera& camera, const Rule& rule, Report& report)
{
    const std::vector<double> flash = camera.numbers(ANDROID_FLASH_INFO_AVAILABLE);
    if (flash.size() != 1 || !camera.find(ANDROID_CONTROL_AE_AVAILABLE_MODES))
        return;
    for (double mode : {ANDROID_CONTROL_AE_MODE_ON_AUTO_FLASH, ANDROID_CONTROL_AE_MODE_ON_ALWAYS_FLASH}) {
        const std::string text = label(ANDROID_CONTROL_AE_MODE, mode);
        if (camera.has(ANDROID_CONTROL_AE_AVAILABLE_MODES, mode) != (flash[0] != 0))
            report.add(rule, {ANDROID_CONTROL_AE_AVAILABLE_MODES, ANDROID_FLASH_INFO_AVAILABLE},
                       flash[0] != 0 ? "no {} with a flash" : "{} without a flash", text);
    }
}

// A focusing lens autofocuses; a fixed one has only OFF.
void afModes(const Camera& camera, const Rule& rule, Report& report)
{
    const std::vector<double> distance = camera.numbers(ANDROID_LENS_INFO_MINIMUM_FOCUS_DISTANCE);
    if (distance.size() != 1 || !camera.find(ANDROID_CONTROL_AF_AVAILABLE_MODES))
        return;
    const double mode = distance[0] > 0 ? ANDROID_CONTROL_AF_MODE_AUTO : ANDROID_CONTROL_AF_MODE_OFF;
    if (!camera.has(ANDROID_CONTROL_AF_AVAILABLE_MODES, mode))
        report.add(rule, {ANDROID_CONTROL_AF_AVAILABLE_MODES, ANDROID_LENS_INFO_MINIMUM_FOCUS_DISTANCE},
                   "no {} with a minimum focus distance of {}", mode != 0 ? "AUTO" : "OFF", distance[0]);
}

void physicalIds(const Camera& camera, const Rule& rule, Report& report)
{
    const uint32_t tag = ANDROID_LOGICAL_MULTI_CAMERA_PHYSICAL_IDS;
    auto entry = camera.find(tag);
    if (!entry)
        return;
    std::set<std::string> ids;
    std::string id;
    for (size_t i = 0; i < entry->count; i++) {
        if (entry->data.u8[i] != 0) {
            id += char(entry->data.u8[i]);
        } else if (!id.empty()) {
            ids.insert(id);
            id.clear();
        }
    }
    if (!id.empty() || (entry->count > 0 && entry->data.u8[entry->count - 1] != 0))
        report.add(rule, {tag}, "the last id is not NUL-terminated");
    if (ids.size() < 2)
        report.add(rule, {tag}, "{} distinct camera id(s), not at least 2", ids.size());
    const std::vector<std::string>* known = camera.cameraIds();
    for (const std::string& name : ids) {
        if (known != nullptr && std::find(known->begin(), known->end(), name) == known->end())
            report.add(rule, {tag}, "names camera {}, which is not there", name);
    }
}

void fpsRanges(const Camera& camera, const Rule& rule, Report& report)
{
    const uint32_t tag = ANDROID_CONTROL_AE_AVAILABLE_TARGET_FPS_RANGES;
    const std::vector<double> ranges = camera.numbers(tag);
    if (ranges.size() < 2)
        return;
    bool video = false;
    for (size_t i = 0; i + 1 < ranges.size(); i += 2)
        video |= ranges[i + 1] >= rule.args[0];
    if (!video)
        report.add(rule, {tag}, "no range reaches {} fps", rule.args[0]);
}

void locksAvailable(const Camera& camera, const Rule& rule, Report& report)
{
    for (uint32_t tag : rule.tags) {
        const std::vector<double> value = camera.numbers(tag);
        if (value.size() == 1 && value[0] == 0)
            report.add(rule, {tag}, "FALSE");
    }
}

// The formats apps can configure at API level 30; P010 (54) included.
const std::vector<double> kApiFormats = {
    ANDROID_SCALER_AVAILABLE_FORMATS_RAW16, ANDROID_SCALER_AVAILABLE_FORMATS_RAW_OPAQUE,
    ANDROID_SCALER_AVAILABLE_FORMATS_YV12, ANDROID_SCALER_AVAILABLE_FORMATS_YCrCb_420_SP,
    ANDROID_SCALER_AVAILABLE_FORMATS_IMPLEMENTATION_DEFINED, kYuv, kBlob, ANDROID_SCALER_AVAILABLE_FORMATS_RAW10,
    ANDROID_SCALER_AVAILABLE_FORMATS_RAW12, ANDROID_SCALER_AVAILABLE_FORMATS_Y8, 54};
const std::vector<double> kOtherFormats = [] {
    std::vector<double> formats = kApiFormats;
    formats.insert(formats.begin(), -1);
    return formats;
}();

// Keys the framework and the suite read without their being listed.
const std::vector<uint32_t> kUnlisted = {
    ANDROID_REQUEST_AVAILABLE_CHARACTERISTICS_KEYS, ANDROID_REQUEST_AVAILABLE_REQUEST_KEYS,
    ANDROID_REQUEST_AVAILABLE_RESULT_KEYS, ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS,
    ANDROID_SCALER_AVAILABLE_MIN_FRAME_DURATIONS, ANDROID_SCALER_AVAILABLE_STALL_DURATIONS,
    ANDROID_DEPTH_AVAILABLE_DEPTH_STREAM_CONFIGURATIONS, ANDROID_DEPTH_AVAILABLE_DEPTH_MIN_FRAME_DURATIONS,
    ANDROID_DEPTH_AVAILABLE_DEPTH_STALL_DURATIONS, ANDROID_DEPTH_DEPTH_IS_EXCLUSIVE, ANDROID_LENS_POSE_ROTATION,
    ANDROID_LENS_POSE_TRANSLATION, ANDROID_LENS_INTRINSIC_CALIBRATION, ANDROID_LENS_DISTORTION,
    ANDROID_LOGICAL_MULTI_CAMERA_PHYSICAL_IDS, ANDROID_LOGICAL_MULTI_CAMERA_SENSOR_SYNC_TYPE};

const Severity E = Severity::Error;
const Severity W = Severity::Warning;

// clang-format off
const std::vector<Rule>& rules()
{
    static const std::vector<Rule> table = {
    // Presence: keys the suite looks up for the level or capability.
    {"presence.every", E, kEveryLevel, 0, 0, present,
     {ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL, ANDROID_REQUEST_AVAILABLE_CAPABILITIES,
      ANDROID_REQUEST_AVAILABLE_CHARACTERISTICS_KEYS, ANDROID_REQUEST_AVAILABLE_REQUEST_KEYS,
      ANDROID_REQUEST_AVAILABLE_RESULT_KEYS, ANDROID_LENS_FACING}, {},
     "Every camera has its hardware level, capabilities, key lists and lens facing"},
    {"presence.backward-compatible", E, 0, kBackward, 0, present,
     {ANDROID_COLOR_CORRECTION_AVAILABLE_ABERRATION_MODES, ANDROID_CONTROL_AVAILABLE_MODES,
      ANDROID_CONTROL_AE_AVAILABLE_ANTIBANDING_MODES, ANDROID_CONTROL_AE_AVAILABLE_MODES,
      ANDROID_CONTROL_AE_AVAILABLE_TARGET_FPS_RANGES, ANDROID_CONTROL_AE_COMPENSATION_RANGE,
      ANDROID_CONTROL_AE_COMPENSATION_STEP, ANDROID_CONTROL_AE_LOCK_AVAILABLE,
      ANDROID_CONTROL_AF_AVAILABLE_MODES, ANDROID_CONTROL_AVAILABLE_EFFECTS,
      ANDROID_CONTROL_AVAILABLE_SCENE_MODES, ANDROID_CONTROL_AVAILABLE_VIDEO_STABILIZATION_MODES,
      ANDROID_CONTROL_AWB_AVAILABLE_MODES, ANDROID_CONTROL_AWB_LOCK_AVAILABLE, ANDROID_CONTROL_MAX_REGIONS,
      ANDROID_FLASH_INFO_AVAILABLE, ANDROID_JPEG_AVAILABLE_THUMBNAIL_SIZES,
      ANDROID_LENS_INFO_AVAILABLE_FOCAL_LENGTHS, ANDROID_LENS_INFO_AVAILABLE_OPTICAL_STABILIZATION,
      ANDROID_NOISE_REDUCTION_AVAILABLE_NOISE_REDUCTION_MODES,
      ANDROID_REQUEST_MAX_NUM_OUTPUT_STREAMS, ANDROID_REQUEST_PARTIAL_RESULT_COUNT,
      ANDROID_REQUEST_PIPELINE_MAX_DEPTH, ANDROID_SCALER_AVAILABLE_MAX_DIGITAL_ZOOM, ANDROID_SCALER_CROPPING_TYPE,
      ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS, ANDROID_SCALER_AVAILABLE_MIN_FRAME_DURATIONS,
      ANDROID_SCALER_AVAILABLE_STALL_DURATIONS, ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE,
      ANDROID_SENSOR_INFO_PIXEL_ARRAY_SIZE, ANDROID_SENSOR_INFO_TIMESTAMP_SOURCE,
      ANDROID_SENSOR_ORIENTATION, ANDROID_STATISTICS_INFO_AVAILABLE_FACE_DETECT_MODES,
      ANDROID_STATISTICS_INFO_MAX_FACE_COUNT, ANDROID_SYNC_MAX_LATENCY}, {},
     "A backward-compatible camera has the 3A, lens, sensor, scaler and request keys apps read"},
    {"presence.optics", E, 0, kBackward, kExternal, present,
     {ANDROID_LENS_INFO_MINIMUM_FOCUS_DISTANCE, ANDROID_SENSOR_INFO_PHYSICAL_SIZE}, {},
     "A backward-compatible camera, unless EXTERNAL, has its minimum focus distance and physical size"},
    {"presence.limited", E, kLimitedUp, 0, 0, present,
     {ANDROID_LENS_INFO_HYPERFOCAL_DISTANCE}, {},
     "LIMITED and up have a hyperfocal distance"},
    {"presence.full", E, kFullUp, 0, 0, present,
     {ANDROID_EDGE_AVAILABLE_EDGE_MODES}, {},
     "FULL and LEVEL_3 have their edge modes"},
    {"presence.manual-sensor", E, kFullUp, kManualSensor, 0, present,
     {ANDROID_LENS_INFO_AVAILABLE_APERTURES, ANDROID_LENS_INFO_AVAILABLE_FILTER_DENSITIES,
      ANDROID_LENS_INFO_FOCUS_DISTANCE_CALIBRATION, ANDROID_SENSOR_INFO_EXPOSURE_TIME_RANGE,
      ANDROID_SENSOR_INFO_MAX_FRAME_DURATION, ANDROID_SENSOR_INFO_SENSITIVITY_RANGE,
      ANDROID_SENSOR_MAX_ANALOG_SENSITIVITY, ANDROID_SENSOR_BLACK_LEVEL_PATTERN}, {},
     "MANUAL_SENSOR (and FULL) has the exposure, sensitivity, frame duration and lens ranges"},
    {"presence.manual-post-processing", E, kFullUp, kManualPost, 0, present,
     {ANDROID_TONEMAP_AVAILABLE_TONE_MAP_MODES, ANDROID_TONEMAP_MAX_CURVE_POINTS, ANDROID_SHADING_AVAILABLE_MODES}, {},
     "MANUAL_POST_PROCESSING (and FULL) has its tonemap and shading modes"},
    {"presence.raw", E, 0, kRaw, 0, present,
     {ANDROID_SENSOR_INFO_WHITE_LEVEL, ANDROID_SENSOR_INFO_COLOR_FILTER_ARRANGEMENT,
      ANDROID_SENSOR_BLACK_LEVEL_PATTERN, ANDROID_SENSOR_CALIBRATION_TRANSFORM1, ANDROID_SENSOR_COLOR_TRANSFORM1,
      ANDROID_SENSOR_FORWARD_MATRIX1, ANDROID_SENSOR_REFERENCE_ILLUMINANT1,
      ANDROID_HOT_PIXEL_AVAILABLE_HOT_PIXEL_MODES, ANDROID_STATISTICS_INFO_AVAILABLE_HOT_PIXEL_MAP_MODES,
      ANDROID_STATISTICS_INFO_AVAILABLE_LENS_SHADING_MAP_MODES, ANDROID_SHADING_AVAILABLE_MODES}, {},
     "RAW has the white and black levels, colour filter, calibration and colour matrices"},
    {"presence.reprocessing", E, 0, kYuvReprocessing | kPrivateReprocessing, 0, present,
     {ANDROID_REQUEST_MAX_NUM_INPUT_STREAMS, ANDROID_SCALER_AVAILABLE_INPUT_OUTPUT_FORMATS_MAP}, {},
     "YUV or PRIVATE reprocessing has its input stream count and input-output formats map"},
    {"presence.logical-multi-camera", E, 0, kLogical, 0, present,
     {ANDROID_LOGICAL_MULTI_CAMERA_PHYSICAL_IDS, ANDROID_LOGICAL_MULTI_CAMERA_SENSOR_SYNC_TYPE}, {},
     "LOGICAL_MULTI_CAMERA has its physical ids and sensor sync type"},
    {"presence.depth-output", E, 0, kDepth, 0, present,
     {ANDROID_DEPTH_AVAILABLE_DEPTH_STREAM_CONFIGURATIONS, ANDROID_DEPTH_AVAILABLE_DEPTH_MIN_FRAME_DURATIONS,
      ANDROID_DEPTH_AVAILABLE_DEPTH_STALL_DURATIONS, ANDROID_DEPTH_DEPTH_IS_EXCLUSIVE, ANDROID_LENS_POSE_ROTATION,
      ANDROID_LENS_POSE_TRANSLATION, ANDROID_LENS_INTRINSIC_CALIBRATION, ANDROID_LENS_DISTORTION}, {},
     "DEPTH_OUTPUT has its depth streams and durations, exclusivity and lens pose and calibration"},

    // Types and counts.
    {"type.tag", E, kEveryLevel, 0, 0, typed, {}, {},
     "Each key has its tag's type"},
    {"count.one", E, kEveryLevel, 0, 0, counted,
     {ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL, ANDROID_LENS_FACING, ANDROID_SENSOR_ORIENTATION,
      ANDROID_FLASH_INFO_AVAILABLE, ANDROID_CONTROL_AE_COMPENSATION_STEP, ANDROID_CONTROL_AE_LOCK_AVAILABLE,
      ANDROID_CONTROL_AWB_LOCK_AVAILABLE, ANDROID_SCALER_AVAILABLE_MAX_DIGITAL_ZOOM, ANDROID_SCALER_CROPPING_TYPE,
      ANDROID_REQUEST_PARTIAL_RESULT_COUNT, ANDROID_REQUEST_PIPELINE_MAX_DEPTH, ANDROID_SYNC_MAX_LATENCY,
      ANDROID_SENSOR_INFO_TIMESTAMP_SOURCE, ANDROID_SENSOR_INFO_WHITE_LEVEL, ANDROID_SENSOR_INFO_MAX_FRAME_DURATION,
      ANDROID_SENSOR_INFO_COLOR_FILTER_ARRANGEMENT, ANDROID_SENSOR_MAX_ANALOG_SENSITIVITY,
      ANDROID_LENS_INFO_MINIMUM_FOCUS_DISTANCE, ANDROID_LENS_INFO_HYPERFOCAL_DISTANCE,
      ANDROID_STATISTICS_INFO_MAX_FACE_COUNT, ANDROID_DEPTH_DEPTH_IS_EXCLUSIVE}, {1},
     "Single-valued keys have one value"},
    {"count.two", E, kEveryLevel, 0, 0, counted,
     {ANDROID_SENSOR_INFO_PIXEL_ARRAY_SIZE, ANDROID_SENSOR_INFO_PHYSICAL_SIZE, ANDROID_CONTROL_AE_COMPENSATION_RANGE,
      ANDROID_SENSOR_INFO_EXPOSURE_TIME_RANGE, ANDROID_SENSOR_INFO_SENSITIVITY_RANGE}, {2},
     "Sizes and ranges have two values"},
    {"count.three", E, kEveryLevel, 0, 0, counted,
     {ANDROID_CONTROL_MAX_REGIONS, ANDROID_REQUEST_MAX_NUM_OUTPUT_STREAMS, ANDROID_LENS_POSE_TRANSLATION}, {3},
     "Region counts, output stream counts and the lens translation have three values"},
    {"count.four", E, kEveryLevel, 0, 0, counted,
     {ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE, ANDROID_SENSOR_INFO_PRE_CORRECTION_ACTIVE_ARRAY_SIZE,
      ANDROID_SENSOR_BLACK_LEVEL_PATTERN, ANDROID_LENS_POSE_ROTATION}, {4},
     "Arrays (x, y, w, h), the black level pattern and the lens rotation have four values"},
    {"count.five", E, kEveryLevel, 0, 0, counted,
     {ANDROID_LENS_INTRINSIC_CALIBRATION, ANDROID_LENS_DISTORTION}, {5},
     "The lens calibration and distortion have five values"},
    {"count.matrix", E, kEveryLevel, 0, 0, counted,
     {ANDROID_SENSOR_CALIBRATION_TRANSFORM1, ANDROID_SENSOR_COLOR_TRANSFORM1, ANDROID_SENSOR_FORWARD_MATRIX1}, {9},
     "Colour matrices have nine values"},
    {"tuple.four", E, kEveryLevel, 0, 0, tupled,
     {ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS, ANDROID_SCALER_AVAILABLE_MIN_FRAME_DURATIONS,
      ANDROID_SCALER_AVAILABLE_STALL_DURATIONS, ANDROID_DEPTH_AVAILABLE_DEPTH_STREAM_CONFIGURATIONS,
      ANDROID_DEPTH_AVAILABLE_DEPTH_MIN_FRAME_DURATIONS, ANDROID_DEPTH_AVAILABLE_DEPTH_STALL_DURATIONS}, {4},
     "Stream configurations and durations come in fours"},
    {"tuple.five", E, kEveryLevel, 0, 0, tupled,
     {ANDROID_CONTROL_AVAILABLE_HIGH_SPEED_VIDEO_CONFIGURATIONS}, {5},
     "High-speed video configurations come in fives (width, height, fps min, fps max, batch)"},
    {"tuple.two", E, kEveryLevel, 0, 0, tupled,
     {ANDROID_CONTROL_AE_AVAILABLE_TARGET_FPS_RANGES, ANDROID_JPEG_AVAILABLE_THUMBNAIL_SIZES}, {2},
     "Fps ranges and thumbnail sizes come in pairs"},

    // Values.
    {"value.enum", E, kEveryLevel, 0, 0, labelled,
     {ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL, ANDROID_LENS_FACING, ANDROID_CONTROL_AE_AVAILABLE_MODES,
      ANDROID_CONTROL_AF_AVAILABLE_MODES, ANDROID_CONTROL_AWB_AVAILABLE_MODES, ANDROID_CONTROL_AVAILABLE_MODES,
      ANDROID_CONTROL_AE_AVAILABLE_ANTIBANDING_MODES, ANDROID_FLASH_INFO_AVAILABLE,
      ANDROID_CONTROL_AE_LOCK_AVAILABLE, ANDROID_CONTROL_AWB_LOCK_AVAILABLE, ANDROID_SCALER_CROPPING_TYPE,
      ANDROID_SENSOR_INFO_TIMESTAMP_SOURCE, ANDROID_LENS_INFO_FOCUS_DISTANCE_CALIBRATION,
      ANDROID_SENSOR_INFO_COLOR_FILTER_ARRANGEMENT}, {},
     "Enumerated values are among the tag's labels"},
    {"value.enum-modes", W, kEveryLevel, 0, 0, labelled,
     {ANDROID_REQUEST_AVAILABLE_CAPABILITIES, ANDROID_NOISE_REDUCTION_AVAILABLE_NOISE_REDUCTION_MODES,
      ANDROID_CONTROL_AVAILABLE_EFFECTS, ANDROID_CONTROL_AVAILABLE_VIDEO_STABILIZATION_MODES,
      ANDROID_LENS_INFO_AVAILABLE_OPTICAL_STABILIZATION, ANDROID_STATISTICS_INFO_AVAILABLE_FACE_DETECT_MODES,
      ANDROID_EDGE_AVAILABLE_EDGE_MODES, ANDROID_COLOR_CORRECTION_AVAILABLE_ABERRATION_MODES,
      ANDROID_HOT_PIXEL_AVAILABLE_HOT_PIXEL_MODES, ANDROID_SHADING_AVAILABLE_MODES,
      ANDROID_TONEMAP_AVAILABLE_TONE_MAP_MODES, ANDROID_STATISTICS_INFO_AVAILABLE_LENS_SHADING_MAP_MODES}, {},
     "Capabilities, effects, stabilization, face detection and processing modes are among the tag's labels (newer levels add some)"},
    {"value.scene-modes", W, kEveryLevel, 0, 0, labelled,
     {ANDROID_CONTROL_AVAILABLE_SCENE_MODES}, {ANDROID_CONTROL_SCENE_MODE_DEVICE_CUSTOM_START},
     "Scene modes are labelled or the device's own, from DEVICE_CUSTOM_START"},
    {"value.orientation", E, kEveryLevel, 0, 0, oneOf,
     {ANDROID_SENSOR_ORIENTATION}, {0, 90, 180, 270},
     "The sensor orientation is 0, 90, 180 or 270"},
    {"value.ordered", E, kEveryLevel, 0, 0, ordered,
     {ANDROID_CONTROL_AE_COMPENSATION_RANGE, ANDROID_CONTROL_AE_AVAILABLE_TARGET_FPS_RANGES,
      ANDROID_SENSOR_INFO_EXPOSURE_TIME_RANGE, ANDROID_SENSOR_INFO_SENSITIVITY_RANGE}, {},
     "Ranges have min <= max"},
    {"value.ae-compensation-zero", E, 0, kBackward, 0, containsZero,
     {ANDROID_CONTROL_AE_COMPENSATION_RANGE}, {},
     "The AE compensation range contains 0"},
    {"value.fps-positive", E, kEveryLevel, 0, 0, atLeast,
     {ANDROID_CONTROL_AE_AVAILABLE_TARGET_FPS_RANGES}, {1},
     "Fps ranges start at 1 fps or more"},
    {"value.fps-video", W, 0, kBackward, 0, fpsRanges, {}, {30},
     "Some fps range reaches 30 fps"},
    {"value.positive", E, kEveryLevel, 0, 0, atLeast,
     {ANDROID_SENSOR_INFO_PIXEL_ARRAY_SIZE, ANDROID_SENSOR_INFO_PHYSICAL_SIZE,
      ANDROID_LENS_INFO_AVAILABLE_FOCAL_LENGTHS, ANDROID_REQUEST_PARTIAL_RESULT_COUNT,
      ANDROID_REQUEST_PIPELINE_MAX_DEPTH, ANDROID_SCALER_AVAILABLE_MAX_DIGITAL_ZOOM}, {1e-9},
     "Sizes, focal lengths, result counts, pipeline depth and zoom are positive"},
    {"value.zoom", E, kEveryLevel, 0, 0, atLeast,
     {ANDROID_SCALER_AVAILABLE_MAX_DIGITAL_ZOOM}, {1},
     "The maximum digital zoom is at least 1"},
    {"value.burst-locks", E, 0, kBurst, 0, locksAvailable,
     {ANDROID_CONTROL_AE_LOCK_AVAILABLE, ANDROID_CONTROL_AWB_LOCK_AVAILABLE}, {},
     "BURST_CAPTURE has AE and AWB locks"},

    // Consistency.
    {"consistency.mandatory-listed", E, kEveryLevel, 0, 0, mandatoryListed, kUnlisted, {},
     "The keys a camera must have are in its characteristics key list"},
    {"consistency.listed-carried", W, kEveryLevel, 0, 0, listedCarried, kUnlisted, {},
     "The characteristics key list names the keys carried, and only those"},
    {"consistency.known-keys", W, kEveryLevel, 0, 0, namesTags,
     {ANDROID_REQUEST_AVAILABLE_CHARACTERISTICS_KEYS, ANDROID_REQUEST_AVAILABLE_REQUEST_KEYS,
      ANDROID_REQUEST_AVAILABLE_RESULT_KEYS, ANDROID_REQUEST_AVAILABLE_SESSION_KEYS}, {},
     "The key lists name known or registered tags (newer levels add some)"},
    {"consistency.min-frame-duration", E, kEveryLevel, 0, 0, durationFor,
     {ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS, ANDROID_SCALER_AVAILABLE_MIN_FRAME_DURATIONS}, kApiFormats,
     "Every output stream configuration of an API level 30 format has a minimum frame duration"},
    {"consistency.min-frame-duration-other", W, kEveryLevel, 0, 0, durationFor,
     {ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS, ANDROID_SCALER_AVAILABLE_MIN_FRAME_DURATIONS}, kOtherFormats,
     "Every output stream configuration of another format has a minimum frame duration"},
    {"consistency.depth-min-frame-duration", E, kEveryLevel, 0, 0, durationFor,
     {ANDROID_DEPTH_AVAILABLE_DEPTH_STREAM_CONFIGURATIONS, ANDROID_DEPTH_AVAILABLE_DEPTH_MIN_FRAME_DURATIONS}, {},
     "Every output depth stream configuration has a minimum frame duration"},
    {"consistency.stall-duration", W, kEveryLevel, 0, 0, durationFor,
     {ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS, ANDROID_SCALER_AVAILABLE_STALL_DURATIONS}, {kBlob},
     "Every BLOB output has a stall duration"},
    {"consistency.outputs", E, 0, kBackward, 0, outputsFor, {}, {kYuv, kBlob},
     "A backward-compatible camera has YUV_420_888 and BLOB outputs"},
    {"consistency.largest-jpeg", W, 0, kBackward, 0, largestJpegIsYuv, {}, {},
     "The largest BLOB size is also a YUV_420_888 size"},
    {"consistency.active-array", E, kEveryLevel, 0, 0, insideArray,
     {ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE, ANDROID_SENSOR_INFO_PIXEL_ARRAY_SIZE}, {},
     "The active array lies inside the pixel array"},
    {"consistency.pre-correction-array", E, kEveryLevel, 0, 0, insideArray,
     {ANDROID_SENSOR_INFO_PRE_CORRECTION_ACTIVE_ARRAY_SIZE, ANDROID_SENSOR_INFO_PIXEL_ARRAY_SIZE}, {},
     "The pre-correction array lies inside the pixel array"},
    {"consistency.pre-correction-contains", W, kEveryLevel, 0, 0, noLarger,
     {ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE, ANDROID_SENSOR_INFO_PRE_CORRECTION_ACTIVE_ARRAY_SIZE}, {},
     "The active array is no larger than the pre-correction array"},
    {"consistency.ae-modes", E, 0, kBackward, 0, holds,
     {ANDROID_CONTROL_AE_AVAILABLE_MODES}, {ANDROID_CONTROL_AE_MODE_ON},
     "AE modes hold ON"},
    {"consistency.ae-off", E, kFullUp, kManualSensor, 0, holds,
     {ANDROID_CONTROL_AE_AVAILABLE_MODES}, {ANDROID_CONTROL_AE_MODE_OFF},
     "MANUAL_SENSOR (and FULL) holds AE mode OFF"},
    {"consistency.awb-modes", E, 0, kBackward, 0, holds,
     {ANDROID_CONTROL_AWB_AVAILABLE_MODES}, {ANDROID_CONTROL_AWB_MODE_AUTO},
     "AWB modes hold AUTO"},
    {"consistency.af-modes", W, 0, kBackward, 0, afModes, {}, {},
     "AF modes hold AUTO for a focusing lens, OFF for a fixed one"},
    {"consistency.flash-modes", E, 0, kBackward, 0, flashModes, {}, {},
     "AE flash modes are there exactly when a flash is"},
    {"consistency.physical-ids", E, 0, kLogical, 0, physicalIds, {}, {},
     "A logical multi-camera names at least two physical cameras, NUL-terminated, that are there (known for a host camera)"},
    };
    return table;
}
// clang-format on

std::string maskText(Mask mask, uint32_t tag, Mask all)
{
    if (mask == all)
        return "every";
    std::vector<std::string> names;
    for (int value = 0; value < 32; value++) {
        char text[CAMERA_METADATA_ENUM_STRING_MAX_SIZE];
        if ((mask & bit(value)) && camera_metadata_enum_snprint(tag, uint32_t(value), text, sizeof(text)) == 0)
            names.push_back(text);
    }
    return fmt::format("{}", fmt::join(names, "|"));
}

} // namespace

std::vector<Finding> checkCharacteristics(const camera_metadata_t* packet, const std::vector<std::string>* cameraIds)
{
    const Camera camera(packet, cameraIds);
    Report report;
    for (const Rule& rule : rules()) {
        if (rule.appliesTo(camera))
            rule.check(camera, rule, report);
    }
    return report.findings;
}

std::vector<RuleText> ruleTexts()
{
    std::vector<RuleText> texts;
    for (const Rule& rule : rules()) {
        std::string applies;
        if (rule.levels != 0)
            applies = maskText(rule.levels, ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL, kEveryLevel);
        if (rule.capabilities != 0)
            applies += (applies.empty() ? "" : " or ") +
                       maskText(rule.capabilities, ANDROID_REQUEST_AVAILABLE_CAPABILITIES, 0);
        if (rule.notAt != 0)
            applies += ", not " + maskText(rule.notAt, ANDROID_INFO_SUPPORTED_HARDWARE_LEVEL, kEveryLevel);
        texts.push_back({rule.id, rule.severity == Severity::Error ? "error" : "warning", applies, rule.statement});
    }
    return texts;
}

} // namespace tamo::tool
