/*
 * tamo meta: camera metadata buffers in files. `dump` prints a file's
 * entries with vendor tag names resolved, or writes them as JSON in the
 * emulated camera HAL's style; `make` writes a camera's characteristics as
 * the library completes them, or a camera described in that JSON; `diff`
 * compares two files entry by entry.
 */
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <system/camera_metadata.h>
#include <tamo/Metadata.h>
#include <tamo/VendorTag.h>

#include "Camera.h"
#include "Check.h"
#include "Command.h"
#include "Files.h"
#include "MetaJson.h"
#include "MetaValues.h"

namespace tamo::tool {

namespace {

int dumpMetadata(const std::string& path, bool json)
{
    std::string error;
    const std::optional<PacketFile> file = PacketFile::read(path, error);
    if (!file)
        return fail("{}", error);
    registerVendorTags(); // names for the vendor tags
    const camera_metadata_t* packet = file->get();

    if (json) {
        fmt::print("{}\n", exportJson(packet));
        return 0;
    }

    std::shared_ptr<Metadata> metadata = Metadata::create();
    if (!metadata->init(packet))
        return fail("{}: the metadata library refused the buffer", path);
    fmt::print("{}: {} bytes, {} entries (room for {}), {} data bytes (room for {})\n", path,
               MetadataUtils::getCameraMetadataSize(packet),
               MetadataUtils::getCameraMetadataEntryCount(packet),
               MetadataUtils::getCameraMetadataEntryCapacity(packet),
               MetadataUtils::getCameraMetadataDataCount(packet),
               MetadataUtils::getCameraMetadataDataCapacity(packet));
    // The library renders the first entry of a tag.
    for (const auto& [key, entry] : keyedEntries(metadata->getFwkMetadata())) {
        if (key.find('#') != std::string::npos)
            continue;
        std::string line;
        metadata->dumpByTag(entry.tag, line);
        fmt::print("{:#010x}  {}", entry.tag, line);
    }
    return 0;
}

int writePacket(const std::string& path, const camera_metadata_t* packet, const std::string& source)
{
    std::string error;
    if (!writeFile(path, {{packet, get_camera_metadata_size(packet)}}, error))
        return failWith(2, "{}", error);
    fmt::print(stderr, "{}: {}, {} bytes, {} entries\n", path, source, get_camera_metadata_size(packet),
               get_camera_metadata_entry_count(packet));
    return 0;
}

int makeMetadata(unsigned int cameraId, const std::string& path)
{
    std::string error;
    const CameraCharacteristics characteristics = cameraCharacteristics(cameraId, error);
    if (characteristics.metadata == nullptr)
        return fail("{}", error);
    return writePacket(path, characteristics.metadata->getFwkMetadata(),
                       fmt::format("camera {} {}", cameraId,
                                   characteristics.completed ? "characteristics" : "static metadata"));
}

struct JsonMake {
    std::string json;
    unsigned int index = 0;
    bool skipUnknown = false;
    std::string out;
    PacketUse use; // instead of writing `out`
};

int makeFromJson(const JsonMake& make)
{
    std::string error;
    if (!notAnInput(make.out, {make.json}, error))
        return fail("{}", error);
    JsonImport import{make.json, make.index, make.skipUnknown, {}, {}};
    const Packet packet = importJsonFile(import, error);
    std::string warnings; // one write: stderr is unbuffered, and there may be many
    for (const std::string& warning : import.warnings)
        warnings += fmt::format("tamo: warning: {}\n", warning);
    fmt::print(stderr, "{}", warnings);
    if (packet == nullptr)
        return fail("{}", error);
    if (make.use)
        return make.use(packet.get(), make.json + import.at);
    return writePacket(make.out, packet.get(), make.json + import.at);
}

// 0 same, 1 different, 2 trouble, as diff(1) answers.
int diffMetadata(const std::string& pathA, const std::string& pathB)
{
    registerVendorTags();
    struct Values {
        uint8_t type;
        std::vector<std::string> text;
        bool operator==(const Values& other) const { return type == other.type && text == other.text; }
    };
    // By tag and then by the entry's place among the tag's: every entry counts.
    std::map<std::pair<uint32_t, std::string>, Values> sides[2];
    const std::string* paths[2] = {&pathA, &pathB};
    for (int side = 0; side < 2; side++) {
        std::string error;
        const std::optional<PacketFile> file = PacketFile::read(*paths[side], error);
        if (!file)
            return failWith(2, "{}", error);
        for (const auto& [key, entry] : keyedEntries(file->get()))
            sides[side][{entry.tag, key}] = {entry.type, renderValues(entry)};
    }

    std::map<std::pair<uint32_t, std::string>, int> changes; // 1 only in A, 2 only in B, 3 in both, differing
    for (int side = 0; side < 2; side++) {
        for (const auto& [tag, values] : sides[side]) {
            const auto other = sides[1 - side].find(tag);
            if (other == sides[1 - side].end() || !(other->second == values))
                changes[tag] |= 1 << side;
        }
    }
    if (changes.empty())
        return 0;
    fmt::print("--- {}\n+++ {}\n", pathA, pathB);
    int counts[4] = {};
    for (const auto& [entry, change] : changes) {
        counts[change]++;
        for (int side = 0; side < 2; side++) {
            if (change & (1 << side))
                fmt::print("{} {} [ {} ]\n", "-+"[side], entry.second, fmt::join(sides[side][entry].text, " "));
        }
    }
    fmt::print("{} only in {}, {} only in {}, {} with other values\n", counts[1], pathA, counts[2],
               pathB, counts[3]);
    return 1;
}

} // namespace

int useJsonCamera(const std::string& path, unsigned int index, const PacketUse& use)
{
    return makeFromJson({path, index, true, "", use});
}

void addMetaCommand(CLI::App& app, Runner& runner)
{
    CLI::App* meta = app.add_subcommand("meta", "Camera metadata buffers in files");
    meta->require_subcommand(0, 1);
    meta->callback([&runner, meta] {
        if (meta->get_subcommands().empty())
            runner = [meta] { return usage(*meta); };
    });

    auto dumpPath = std::make_shared<std::string>();
    auto dumpJson = std::make_shared<bool>(false);
    CLI::App* dump = meta->add_subcommand("dump", "Print every entry of a metadata file");
    dump->add_flag("--json", *dumpJson,
                   "One JSON object as the emulated camera HAL writes cameras: tag name to "
                   "an array of strings");
    dump->add_option("FILE", *dumpPath, "A camera_metadata buffer")->required();
    dump->callback([&runner, dumpPath, dumpJson] {
        runner = [dumpPath, dumpJson] { return dumpMetadata(*dumpPath, *dumpJson); };
    });

    auto cameraId = std::make_shared<unsigned int>(0);
    auto json = std::make_shared<JsonMake>();
    CLI::App* make = meta->add_subcommand(
        "make", "Write a camera's characteristics, or a camera described in JSON, to a file");
    CLI::Option_group* source = make->add_option_group("source");
    source->add_option("--camera", *cameraId, "Camera id");
    CLI::Option* fromJson = source->add_option(
        "--from-json", json->json, "A JSON object of tag names and values, or an array of them");
    source->require_option(1);
    make->add_option("--index", json->index, "The element of a JSON array to write (default 0)")
        ->needs(fromJson);
    make->add_flag("--skip-unknown", json->skipUnknown, "Warn about unknown tag names and labels, and leave them out, instead of failing")
        ->needs(fromJson);
    make->add_option("FILE", json->out, "Output file, or - for standard output")->required();
    make->callback([&runner, cameraId, json, fromJson] {
        if (fromJson->count() != 0)
            runner = [json] { return makeFromJson(*json); };
        else
            runner = [cameraId, json] { return makeMetadata(*cameraId, json->out); };
    });

    auto diffPaths = std::make_shared<std::pair<std::string, std::string>>();
    CLI::App* diff = meta->add_subcommand(
        "diff", "Entries only in A, only in B, or with other values; exit status 0 same, 1 "
                "different, 2 trouble");
    diff->add_option("A", diffPaths->first, "A camera_metadata buffer")->required();
    diff->add_option("B", diffPaths->second, "Another one")->required();
    diff->callback([&runner, diffPaths] {
        runner = [diffPaths] { return diffMetadata(diffPaths->first, diffPaths->second); };
    });

    addMetaCheckCommand(*meta, runner);
}

} // namespace tamo::tool
