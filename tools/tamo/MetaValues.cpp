#include "MetaValues.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include <fmt/core.h>

#include "Files.h"
#include "VendorTagNames.h"

namespace tamo::tool {

namespace {

std::optional<std::string> label(uint32_t tag, int64_t value)
{
    char text[CAMERA_METADATA_ENUM_STRING_MAX_SIZE];
    if (value < INT32_MIN || value > INT32_MAX ||
        camera_metadata_enum_snprint(tag, static_cast<uint32_t>(value), text, sizeof(text)) != 0)
        return std::nullopt;
    return std::string(text);
}

template <typename T>
std::string number(uint32_t tag, T value)
{
    if constexpr (std::is_integral_v<T>) {
        if (std::optional<std::string> name = label(tag, value))
            return *name;
    }
    return fmt::format("{}", value);
}

template <typename T>
bool append(T value, std::vector<uint8_t>& out)
{
    const auto* bytes = reinterpret_cast<const uint8_t*>(&value);
    out.insert(out.end(), bytes, bytes + sizeof(value));
    return true;
}

// The whole text as one number of T: no blanks, no sign on unsigned types.
template <typename T>
bool put(const std::string& text, std::vector<uint8_t>& out)
{
    T value{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return !text.empty() && error == std::errc() && stop == end && append(value, out);
}

} // namespace

std::optional<PacketFile> PacketFile::read(const std::string& path, std::string& error)
{
    const std::optional<uintmax_t> size = fileSize(path, error);
    if (!size)
        return std::nullopt;
    if (*size > kMaxMetadataFile) {
        error = fmt::format("{}: {} bytes, too big for camera metadata (at most {})", path, *size,
                            kMaxMetadataFile);
        return std::nullopt;
    }
    PacketFile file;
    file.mBytes = *size;
    // Never shorter than a header, so that validation reads what it needs.
    file.mWords.assign(std::max<size_t>((*size + 7) / 8, 64), 0);
    if (!readFile(path, file.mWords.data(), *size, error))
        return std::nullopt;
    if (validate_camera_metadata_structure(file.get(), &file.mBytes) != 0) {
        error = fmt::format("{}: not a valid camera metadata buffer ({} bytes)", path, *size);
        return std::nullopt;
    }
    // Another packet, or anything, after this one would go unseen.
    if (const size_t packet = get_camera_metadata_size(file.get()); packet != *size) {
        error = fmt::format("{}: {} bytes after the packet's {}", path, *size - packet, packet);
        return std::nullopt;
    }
    return file;
}

std::string tagName(uint32_t tag)
{
    const char* section = get_camera_metadata_section_name(tag);
    const char* name = get_camera_metadata_tag_name(tag);
    if (section == nullptr || name == nullptr)
        return fmt::format("{:#010x}", tag);
    return fmt::format("{}.{}", section, name);
}

std::unordered_map<std::string, uint32_t> tagsByName()
{
    std::unordered_map<std::string, uint32_t> tags;
    for (uint32_t section = 0; section < ANDROID_SECTION_COUNT; section++) {
        for (uint32_t tag = camera_metadata_section_bounds[section][0];
             tag < camera_metadata_section_bounds[section][1]; tag++) {
            if (get_camera_metadata_tag_name(tag) != nullptr)
                tags.emplace(tagName(tag), tag);
        }
    }
    for (auto& [name, tag] : vendorTagNames())
        tags.emplace(std::move(name), tag);
    return tags;
}

std::vector<std::string> renderValues(const camera_metadata_ro_entry_t& entry)
{
    std::vector<std::string> values;
    const uint32_t tag = entry.tag;
    for (size_t i = 0; i < entry.count; i++) {
        switch (entry.type) {
        case TYPE_BYTE:
            values.push_back(number(tag, unsigned{entry.data.u8[i]}));
            break;
        case TYPE_INT32:
            values.push_back(number(tag, entry.data.i32[i]));
            break;
        case TYPE_FLOAT:
            values.push_back(number(tag, entry.data.f[i]));
            break;
        case TYPE_INT64:
            values.push_back(number(tag, entry.data.i64[i]));
            break;
        case TYPE_DOUBLE:
            values.push_back(number(tag, entry.data.d[i]));
            break;
        case TYPE_RATIONAL:
            values.push_back(fmt::format("{}", entry.data.r[i].numerator));
            values.push_back(fmt::format("{}", entry.data.r[i].denominator));
            break;
        default:
            break;
        }
    }
    return values;
}

bool parseValue(uint32_t tag, uint8_t type, const std::string& text, std::vector<uint8_t>& out)
{
    // Labels first: some look like numbers ("90" of android.scaler.rotateAndCrop
    // is 1), and renderValues() writes those values by label.
    uint32_t named = 0;
    const bool labelled = text.find('\0') == std::string::npos &&
                          camera_metadata_enum_value(tag, text.c_str(), text.size() + 1, &named) == 0;
    const auto value = static_cast<int32_t>(named); // the enumerators' int values
    switch (type) {
    case TYPE_BYTE:
        return labelled ? append(static_cast<uint8_t>(value), out) : put<uint8_t>(text, out);
    case TYPE_INT32:
        return labelled ? append(value, out) : put<int32_t>(text, out);
    case TYPE_FLOAT:
        return put<float>(text, out);
    case TYPE_INT64:
        return labelled ? append(int64_t{value}, out) : put<int64_t>(text, out);
    case TYPE_DOUBLE:
        return put<double>(text, out);
    case TYPE_RATIONAL:
        return put<int32_t>(text, out);
    default:
        return false;
    }
}

} // namespace tamo::tool
