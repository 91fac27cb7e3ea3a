/*
 * tamo tags: every vendor tag the camera metadata library can name once the
 * framework's callbacks are installed, the platform's first.
 */
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include <system/camera_metadata.h>
#include <tamo/VendorTag.h>

#include "Camera.h"
#include "Command.h"

namespace tamo::tool {

namespace {

const char* typeName(uint32_t type)
{
    return type < NUM_TYPES ? camera_metadata_type_names[type] : "unknown";
}

int listTags(bool json)
{
    const std::vector<AppVendorTagSection> sections = registerVendorTags();
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    unsigned platformTags = 0;
    unsigned frameworkTags = 0;
    for (const AppVendorTagSection& section : sections) {
        for (const AppVendorTag& tag : section.tags) {
            const std::string number = fmt::format("{:#010x}", tag.tagId);
            const std::string name = section.sectionName + "." + tag.tagName;
            if (json)
                list.push_back({{"number", number}, {"name", name}, {"type", typeName(tag.tagType)}});
            else
                fmt::print("{}  {:<48} {}\n", number, name, typeName(tag.tagType));
            (tag.tagId >= kPlatformVendorTagStart ? platformTags : frameworkTags)++;
        }
    }
    if (json)
        fmt::print("{}\n", list.dump(2));
    else
        fmt::print("{} vendor tags: {} platform, {} framework\n", platformTags + frameworkTags,
                   platformTags, frameworkTags);
    return 0;
}

} // namespace

void addTagsCommand(CLI::App& app, Runner& runner)
{
    auto json = std::make_shared<bool>(false);
    CLI::App* command = app.add_subcommand(
        "tags", "List every vendor tag: number, section.name and type");
    command->add_flag("--json", *json, "A JSON array of {number, name, type}");
    command->callback([&runner, json] { runner = [json] { return listTags(*json); }; });
}

} // namespace tamo::tool
