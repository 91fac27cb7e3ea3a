/*
 * Cameras described in JSON as the emulated camera HAL describes them: an
 * object of full tag names to arrays of strings, or an array of such objects.
 */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <system/camera_metadata.h>

namespace tamo::tool {

struct PacketDeleter {
    void operator()(camera_metadata_t* packet) const { free_camera_metadata(packet); }
};
using Packet = std::unique_ptr<camera_metadata_t, PacketDeleter>;

// Deeper than any camera description (three levels) by far.
constexpr int kMaxJsonDepth = 64;

struct JsonImport {
    std::string name; // the file, for messages
    unsigned int index = 0;
    bool skipUnknown = false;
    // Out: warnings for what was skipped, and "[N]" when the file is an array.
    std::vector<std::string> warnings;
    std::string at;
};

// Reads `text` as the emulated camera HAL's JsonCpp reader does (trailing
// commas and comments allowed), but refuses duplicate keys, bytes after the
// value and nesting deeper than kMaxJsonDepth. Entries are written in tag
// order, exactly the room they take. Empty, with one line, on refusal.
Packet importJson(const std::string& text, JsonImport& import, std::string& error);
// The same of the file import.name, read whole.
Packet importJsonFile(JsonImport& import, std::string& error);

// Every entry, by the key importJson() reads back into the same entry:
// a tag's name, or 0x%08x:type when it has none, and #N for its Nth entry.
std::vector<std::pair<std::string, camera_metadata_ro_entry_t>> keyedEntries(const camera_metadata_t* packet);

// The packet as one JSON object, in packet order, indented by two.
std::string exportJson(const camera_metadata_t* packet);

} // namespace tamo::tool
