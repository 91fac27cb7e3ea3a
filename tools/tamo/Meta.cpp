/*
 * tamo meta: camera metadata buffers in files. `dump` prints a file's
 * entries with vendor tag names resolved; `make` writes a camera's
 * characteristics as the library completes them.
 */
#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <system/camera_metadata.h>
#include <tamo/Metadata.h>
#include <tamo/VendorTag.h>

#include "Camera.h"
#include "Command.h"
#include "Files.h"

namespace tamo::tool {

namespace {

// Far beyond any camera's metadata; a bigger file is not one.
constexpr uintmax_t kMaxMetadataFile = 64u << 20;

int dumpMetadata(const std::string& path)
{
    std::string error;
    const std::optional<uintmax_t> size = fileSize(path, error);
    if (!size)
        return fail("{}", error);
    if (*size > kMaxMetadataFile)
        return fail("{}: {} bytes, too big for camera metadata (at most {})", path, *size,
                    kMaxMetadataFile);

    // Aligned as a packet must be, and never shorter than its header.
    std::vector<uint64_t> words(std::max<size_t>((*size + 7) / 8, 64), 0);
    if (!readFile(path, words.data(), *size, error))
        return fail("{}", error);
    auto* packet = reinterpret_cast<camera_metadata_t*>(words.data());
    size_t expected = *size;
    if (validate_camera_metadata_structure(packet, &expected) != 0)
        return fail("{}: not a valid camera metadata buffer ({} bytes)", path, *size);

    registerVendorTags(); // names for the vendor tags
    std::shared_ptr<Metadata> metadata = Metadata::create();
    if (!metadata->init(packet))
        return fail("{}: the metadata library refused the buffer", path);

    fmt::print("{}: {} bytes, {} entries (room for {}), {} data bytes (room for {})\n", path,
               MetadataUtils::getCameraMetadataSize(packet),
               MetadataUtils::getCameraMetadataEntryCount(packet),
               MetadataUtils::getCameraMetadataEntryCapacity(packet),
               MetadataUtils::getCameraMetadataDataCount(packet),
               MetadataUtils::getCameraMetadataDataCapacity(packet));
    const camera_metadata_t* copy = metadata->getFwkMetadata();
    std::set<uint32_t> shown; // the library renders the first entry of a tag
    for (size_t i = 0; i < MetadataUtils::getCameraMetadataEntryCount(copy); i++) {
        camera_metadata_ro_entry_t entry{};
        if (get_camera_metadata_ro_entry(copy, i, &entry) != 0 || !shown.insert(entry.tag).second)
            continue;
        std::string line;
        metadata->dumpByTag(entry.tag, line);
        fmt::print("{:#010x}  {}", entry.tag, line);
    }
    return 0;
}

int makeMetadata(unsigned int cameraId, const std::string& path)
{
    std::string error;
    std::shared_ptr<Metadata> characteristics = cameraCharacteristics(cameraId, error);
    if (characteristics == nullptr)
        return fail("{}", error);

    const camera_metadata_t* packet = characteristics->getFwkMetadata();
    if (!writeFile(path, packet, get_camera_metadata_size(packet), error))
        return fail("{}", error);
    fmt::print("{}: camera {} characteristics, {} bytes, {} entries\n", path, cameraId,
               get_camera_metadata_size(packet), get_camera_metadata_entry_count(packet));
    return 0;
}

} // namespace

void addMetaCommand(CLI::App& app, Runner& runner)
{
    CLI::App* meta = app.add_subcommand("meta", "Camera metadata buffers in files");
    meta->require_subcommand(1);

    auto dumpPath = std::make_shared<std::string>();
    CLI::App* dump = meta->add_subcommand("dump", "Print every entry of a metadata file");
    dump->add_option("FILE", *dumpPath, "A camera_metadata buffer")->required();
    dump->callback([&runner, dumpPath] { runner = [dumpPath] { return dumpMetadata(*dumpPath); }; });

    auto cameraId = std::make_shared<unsigned int>(0);
    auto makePath = std::make_shared<std::string>();
    CLI::App* make = meta->add_subcommand("make", "Write a camera's characteristics to a file");
    make->add_option("--camera", *cameraId, "Camera id")->required();
    make->add_option("FILE", *makePath, "Output file")->required();
    make->callback([&runner, cameraId, makePath] {
        runner = [cameraId, makePath] { return makeMetadata(*cameraId, *makePath); };
    });
}

} // namespace tamo::tool
