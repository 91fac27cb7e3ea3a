// The tool's JSON importer (`tamo meta make --from-json`), the one input of
// `tamo meta` that comes as text: any text is read, refused with one short
// line or turned into a packet; a packet is valid, no larger than a packet
// file may be, and its JSON reads back into the same entries and values.
//
// Input: one byte of options (bits 0-1 the array index, bit 2 skip unknown
// keys and labels), then the JSON text.
#include <string>

#include "Camera.h"
#include "FuzzSupport.h"
#include "MetaJson.h"
#include "MetaValues.h"

using namespace tamo::tool;

namespace {

void setup()
{
    registerVendorTags();
}

void run(tamo::fuzz::Reader& in)
{
    const uint8_t options = in.u8();
    const std::vector<uint8_t> bytes = in.bytes(in.remaining());
    const std::string text(bytes.begin(), bytes.end());
    JsonImport import{"in.json", options & 3u, (options & 4u) != 0, {}, {}};
    std::string error;
    const Packet packet = importJson(text, import, error);
    for (const std::string& warning : import.warnings)
        FUZZ_CHECK(warning.find('\n') == std::string::npos && warning.size() < 400);
    if (packet == nullptr) {
        FUZZ_CHECK(!error.empty() && error.find('\n') == std::string::npos && error.size() < 400);
        return;
    }
    size_t size = get_camera_metadata_size(packet.get());
    FUZZ_CHECK(size <= kMaxMetadataFile);
    FUZZ_CHECK(validate_camera_metadata_structure(packet.get(), &size) == 0);

    JsonImport again{"out.json", 0, false, {}, {}};
    const Packet back = importJson(exportJson(packet.get()), again, error);
    FUZZ_CHECK(back != nullptr && again.warnings.empty());
    const auto before = keyedEntries(packet.get()), after = keyedEntries(back.get());
    FUZZ_CHECK(before.size() == after.size());
    for (size_t i = 0; i < before.size(); i++) {
        FUZZ_CHECK(before[i].first == after[i].first);
        FUZZ_CHECK(before[i].second.type == after[i].second.type && before[i].second.count == after[i].second.count);
        FUZZ_CHECK(renderValues(before[i].second) == renderValues(after[i].second));
    }
}

} // namespace

FUZZ_TARGET(setup, run)
