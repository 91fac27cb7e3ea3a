#include "MetaJson.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <tuple>
#include <unordered_map>

#include <fmt/format.h>
#include <json/json.h>
#include <nlohmann/json.hpp>
#include <system/camera_vendor_tags.h>

#include "Files.h"
#include "MetaValues.h"
#include "VendorTagNames.h"

namespace tamo::tool {

namespace {

// At most about 80 characters of anything the input chose, on one line.
std::string clip(const std::string& text)
{
    std::string shown;
    for (const char c : text) {
        if (shown.size() >= 80) {
            shown += "...";
            break;
        }
        if (static_cast<unsigned char>(c) < 0x20)
            shown += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
        else
            shown += c;
    }
    return shown;
}

// A value in a message, never serialised whole (it may be nested deep).
std::string shown(const Json::Value& value)
{
    switch (value.type()) {
    case Json::stringValue:
        return "'" + clip(value.asString()) + "'";
    case Json::arrayValue:
        return fmt::format("an array of {}", value.size());
    case Json::objectValue:
        return fmt::format("an object of {} members", value.size());
    case Json::nullValue:
        return "null";
    default:
        return clip(value.asString());
    }
}

// JsonCpp's "* Line 2, Column 7\n  Syntax error: ...\n" as one line.
std::string firstError(const std::string& errors)
{
    std::istringstream lines(errors);
    std::string where, what;
    std::getline(lines, where);
    std::getline(lines, what);
    where.erase(0, where.find_first_not_of("* "));
    what.erase(0, what.find_first_not_of(' '));
    if (!where.empty())
        where[0] = 'l';
    const size_t column = where.find("Column");
    if (column != std::string::npos)
        where[column] = 'c';
    return clip(where + ": " + what);
}

// Labels are what the HAL's files write for enumerated tags.
bool looksLikeLabel(const std::string& text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    }) && !(text[0] >= '0' && text[0] <= '9');
}

bool enumerated(uint32_t tag)
{
    char text[CAMERA_METADATA_ENUM_STRING_MAX_SIZE];
    for (uint32_t value = 0; value < 64; value++) {
        if (camera_metadata_enum_snprint(tag, value, text, sizeof(text)) == 0)
            return true;
    }
    return false;
}

// The vendor tag callbacks answer 255 for a tag they do not know.
bool typed(int type)
{
    return type >= 0 && type < NUM_TYPES;
}

struct Key {
    uint32_t tag;
    int type;
    unsigned int occurrence; // 1 for a tag's first entry
};

// Types of the vendor tags a description names by number, for the metadata
// library while the packet is built; the rest as the library installed them.
std::map<uint32_t, uint8_t>& unnamedTypes()
{
    static std::map<uint32_t, uint8_t> types;
    return types;
}

// The type the vendor tag callbacks give a tag; -1 without callbacks.
int vendorTagType(uint32_t tag)
{
    const vendor_tag_ops_t* ops = vendorTagOps();
    return ops != nullptr ? ops->get_tag_type(ops, tag) : -1;
}

int typeOf(const vendor_tag_ops_t*, uint32_t tag)
{
    const auto type = unnamedTypes().find(tag);
    return type != unnamedTypes().end() ? type->second : vendorTagType(tag);
}

// The library finds the setter the same way: it is not in a public header.
bool typeUnnamedTags()
{
    if (vendorTagOps() == nullptr)
        return false;
    static const vendor_tag_ops_t ops = [] {
        vendor_tag_ops_t o = *vendorTagOps();
        o.get_tag_type = typeOf;
        return o;
    }();
    using Setter = int (*)(const vendor_tag_ops_t*);
    static const auto set = reinterpret_cast<Setter>(dlsym(RTLD_DEFAULT, "set_camera_metadata_vendor_ops"));
    return set != nullptr && set(&ops) == 0;
}

std::optional<Key> parseKey(const std::string& key, const std::unordered_map<std::string, uint32_t>& tags)
{
    std::string base = key;
    unsigned int occurrence = 1;
    const size_t hash = key.rfind('#');
    if (hash != std::string::npos && hash + 1 < key.size() && key.size() - hash <= 8 &&
        std::all_of(key.begin() + hash + 1, key.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        occurrence = unsigned(std::stoul(key.substr(hash + 1)));
        if (occurrence < 2)
            return std::nullopt;
        base = key.substr(0, hash);
    }
    if (const auto tag = tags.find(base); tag != tags.end())
        return Key{tag->second, get_camera_metadata_tag_type(tag->second), occurrence};
    // 0x8001ffff:int32, a vendor tag the library cannot name.
    unsigned int tag = 0;
    char type[16] = {};
    int end = 0;
    if (base.size() < 12 || std::sscanf(base.c_str(), "0x%8x:%15[a-z0-9]%n", &tag, type, &end) != 2 ||
        size_t(end) != base.size() || base != fmt::format("{:#010x}:{}", tag, type) || tag < uint32_t(VENDOR_SECTION_START))
        return std::nullopt;
    const int known = vendorTagType(tag); // not unnamedTypes()
    for (int t = 0; t < NUM_TYPES; t++) {
        if (std::strcmp(type, camera_metadata_type_names[t]) == 0 && (!typed(known) || known == t))
            return Key{tag, t, occurrence};
    }
    return std::nullopt;
}

struct Entry {
    Key key;
    size_t count;
    std::vector<uint8_t> bytes;
};

} // namespace

Packet importJson(const std::string& text, JsonImport& import, std::string& error)
{
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    builder["allowTrailingCommas"] = true;
    builder["rejectDupKeys"] = true;
    builder["failIfExtra"] = true;
    builder["stackLimit"] = kMaxJsonDepth;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value document;
    std::string errors;
    const std::string& file = import.name;
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &document, &errors)) {
            error = fmt::format("{}: not JSON: {}", file, firstError(errors));
            return nullptr;
        }
    } catch (const std::exception&) { // JsonCpp throws when the nesting limit is passed
        error = fmt::format("{}: not JSON: nested deeper than {}", file, kMaxJsonDepth);
        return nullptr;
    }

    // One camera, or one of an array of them: a logical camera and its members.
    const Json::Value* camera = &document;
    std::string& at = import.at; // where in the file, for messages
    if (document.isArray()) {
        if (import.index >= document.size()) {
            error = fmt::format("{}: [{}]: no such element, the array holds {}", file, import.index, document.size());
            return nullptr;
        }
        camera = &document[import.index];
        at = fmt::format("[{}]", import.index);
    } else if (import.index != 0) {
        error = fmt::format("{}: [{}]: no such element, the file holds one object", file, import.index);
        return nullptr;
    }
    if (!camera->isObject()) {
        error = fmt::format("{}: {}: not an object of tag names and values", file, at.empty() ? "top" : at);
        return nullptr;
    }

    std::vector<Entry> entries;
    static const std::unordered_map<std::string, uint32_t> tags = tagsByName(); // fixed for the process
    unnamedTypes().clear();
    for (auto member = camera->begin(); member != camera->end(); ++member) {
        const std::string key = member.name();
        const std::string where = clip(at.empty() ? key : at + "." + key);
        const std::optional<Key> parsed = parseKey(key, tags);
        if (!parsed || !typed(parsed->type)) {
            if (!import.skipUnknown) {
                error = fmt::format("{}: {}: no such tag", file, where);
                return nullptr;
            }
            import.warnings.push_back(fmt::format("{}: {}: no such tag, skipped", file, where));
            continue;
        }
        const Json::Value& values = *member;
        if (!values.isArray()) {
            error = fmt::format("{}: {}: {} is not an array of strings", file, where, shown(values));
            return nullptr;
        }
        const auto type = uint8_t(parsed->type);
        if (parsed->tag >= uint32_t(VENDOR_SECTION_START) && !typed(vendorTagType(parsed->tag)) &&
            unnamedTypes().emplace(parsed->tag, type).first->second != type) {
            error = fmt::format("{}: {}: another type than the tag's other keys give it", file, where);
            return nullptr;
        }
        Entry entry{*parsed, 0, {}};
        for (Json::ArrayIndex i = 0; i < values.size(); i++) {
            const Json::Value& value = values[i];
            if (!value.isString()) {
                error = fmt::format("{}: {}[{}]: {} is not a string", file, where, i, shown(value));
                return nullptr;
            }
            const std::string& string = value.asString();
            if (parseValue(parsed->tag, type, string, entry.bytes)) {
                entry.count++;
                continue;
            }
            if (!looksLikeLabel(string) || !enumerated(parsed->tag)) {
                error = fmt::format("{}: {}[{}]: {} is not a value of type {}", file, where, i, shown(value),
                                    camera_metadata_type_names[type]);
                return nullptr;
            }
            const std::string unknown = fmt::format("{}: {}[{}]: {} is not an API level 30 value of {}", file,
                                                    where, i, shown(value), clip(tagName(parsed->tag)));
            if (!import.skipUnknown) {
                error = unknown;
                return nullptr;
            }
            import.warnings.push_back(unknown + ", skipped");
        }
        if (type == TYPE_RATIONAL) {
            if (entry.count % 2 != 0) {
                error = fmt::format("{}: {}[{}]: a rational without its denominator (odd length {})", file, where,
                                    entry.count - 1, entry.count);
                return nullptr;
            }
            entry.count /= 2;
        }
        entries.push_back(std::move(entry));
    }

    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        return std::tie(a.key.tag, a.key.occurrence) < std::tie(b.key.tag, b.key.occurrence);
    });
    size_t dataBytes = 0;
    for (size_t i = 0; i < entries.size(); i++) {
        const Key& key = entries[i].key;
        if (i > 0 && key.tag == entries[i - 1].key.tag && key.occurrence == entries[i - 1].key.occurrence) {
            error = fmt::format("{}: {}: two keys name its entry {}", file, clip(tagName(key.tag)), key.occurrence);
            return nullptr;
        }
        dataBytes += calculate_camera_metadata_entry_data_size(uint8_t(key.type), entries[i].count);
    }
    const size_t bytes = calculate_camera_metadata_size(entries.size(), dataBytes);
    if (bytes > kMaxMetadataFile) {
        error = fmt::format("{}: {} entries would take {} bytes, more than a packet file may hold ({})", file,
                            entries.size(), bytes, kMaxMetadataFile);
        return nullptr;
    }
    if (!unnamedTypes().empty() && !typeUnnamedTags()) {
        error = fmt::format("{}: the metadata library takes no types for unnamed tags", file);
        return nullptr;
    }
    Packet packet(allocate_camera_metadata(entries.size(), dataBytes));
    if (packet == nullptr) {
        error = fmt::format("{}: no memory for {} entries", file, entries.size());
        return nullptr;
    }
    for (const Entry& entry : entries) {
        if (add_camera_metadata_entry(packet.get(), entry.key.tag, entry.bytes.data(), entry.count) != 0) {
            error = fmt::format("{}: {}: the metadata library refused the entry", file, clip(tagName(entry.key.tag)));
            return nullptr;
        }
    }
    return packet;
}

Packet importJsonFile(JsonImport& import, std::string& error)
{
    const std::optional<uintmax_t> size = fileSize(import.name, error);
    std::string text(size.value_or(0), '\0');
    if (!size || !readFile(import.name, text.data(), text.size(), error))
        return nullptr;
    return importJson(text, import, error);
}

std::vector<std::pair<std::string, camera_metadata_ro_entry_t>> keyedEntries(const camera_metadata_t* packet)
{
    std::vector<std::pair<std::string, camera_metadata_ro_entry_t>> entries;
    std::unordered_map<uint32_t, unsigned int> seen;
    camera_metadata_ro_entry_t entry{};
    for (size_t i = 0; get_camera_metadata_ro_entry(packet, i, &entry) == 0; i++) {
        std::string key = tagName(entry.tag);
        if (get_camera_metadata_tag_name(entry.tag) == nullptr && entry.type < NUM_TYPES)
            key += fmt::format(":{}", camera_metadata_type_names[entry.type]);
        if (const unsigned int n = ++seen[entry.tag]; n > 1)
            key += fmt::format("#{}", n);
        entries.emplace_back(std::move(key), entry);
    }
    return entries;
}

std::string exportJson(const camera_metadata_t* packet)
{
    // Written here, not through a JSON object: its ordered keys are found linearly.
    std::string text = "{";
    const char* between = "\n";
    for (const auto& [key, entry] : keyedEntries(packet)) {
        const std::vector<std::string> values = renderValues(entry);
        text += fmt::format("{}  {}: [", between, nlohmann::json(key).dump());
        for (size_t i = 0; i < values.size(); i++)
            text += fmt::format("{}\n    {}", i == 0 ? "" : ",", nlohmann::json(values[i]).dump());
        text += values.empty() ? "]" : "\n  ]";
        between = ",\n";
    }
    return text + (text.size() == 1 ? "}" : "\n}");
}

} // namespace tamo::tool
