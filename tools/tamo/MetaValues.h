/*
 * Camera metadata entries as text, in the style of the emulated camera HAL's
 * JSON descriptions: one string per value, enumerated values by label.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include <system/camera_metadata.h>

namespace tamo::tool {

// Far beyond any camera's metadata; a bigger file is not one.
constexpr uintmax_t kMaxMetadataFile = 64u << 20;

// A file read as a packet, validated, in memory aligned as packets must be.
class PacketFile {
public:
    // Empty, with a reason that starts with the path, when it is not a packet.
    static std::optional<PacketFile> read(const std::string& path, std::string& error);
    const camera_metadata_t* get() const { return reinterpret_cast<const camera_metadata_t*>(mWords.data()); }
    size_t bytes() const { return mBytes; }

private:
    std::vector<uint64_t> mWords;
    size_t mBytes = 0;
};

// "section.name", or the number as 0x%08x for a tag the library cannot name.
std::string tagName(uint32_t tag);

// Full names of the standard tags and every registered vendor tag.
std::unordered_map<std::string, uint32_t> tagsByName();

// One string per value (two per rational): labels where the tag names the
// value, decimals, and floats in the shortest text that reads back the same.
std::vector<std::string> renderValues(const camera_metadata_ro_entry_t& entry);

// Appends one value, read as renderValues() writes it, in the type's bytes.
// A rational takes two calls, numerator and denominator.
bool parseValue(uint32_t tag, uint8_t type, const std::string& text, std::vector<uint8_t>& out);

} // namespace tamo::tool
