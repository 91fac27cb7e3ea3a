/*
 * tamo meta check: one line per finding on standard output, then a summary;
 * exit status 0 without an error, 1 with one, 2 when the camera could not
 * be read.
 */
#include "Check.h"

#include <memory>
#include <optional>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <tamo_platform/IPlatformEnviron.h>

#include "Camera.h"
#include "CheckRules.h"
#include "MetaValues.h"

namespace tamo::tool {

namespace {

struct CheckArgs {
    std::string packet;
    std::string json;
    unsigned int index = 0;
    unsigned int cameraId = 0;
    bool fromCamera = false;
    bool asJson = false;
};

int report(const camera_metadata_t* camera, const std::string& source, bool asJson,
           const std::vector<std::string>* cameraIds = nullptr)
{
    registerVendorTags(); // names for the framework's tags in findings
    const std::vector<Finding> findings = checkCharacteristics(camera, cameraIds);
    size_t errors = 0;
    nlohmann::ordered_json array = nlohmann::ordered_json::array();
    for (const Finding& finding : findings) {
        const bool error = finding.severity == Severity::Error;
        errors += error ? 1 : 0;
        if (asJson)
            array.push_back({{"severity", error ? "error" : "warning"},
                             {"rule", finding.rule},
                             {"keys", finding.keys},
                             {"message", finding.message}});
        else
            fmt::print("{}: {}: {} [{}]\n", error ? "error" : "warning", fmt::join(finding.keys, ", "),
                       finding.message, finding.rule);
    }
    if (asJson)
        fmt::print("{}\n", array.dump(2));
    else
        fmt::print("{}: {} error(s), {} warning(s)\n", source, errors, findings.size() - errors);
    return errors == 0 ? 0 : 1;
}

int checkCamera(const CheckArgs& args)
{
    std::string error;
    if (args.fromCamera) {
        std::shared_ptr<Metadata> characteristics = cameraCharacteristics(args.cameraId, error).metadata;
        if (characteristics == nullptr)
            return failWith(2, "{}", error);
        // The platform numbers its cameras from 0 without gaps.
        std::vector<std::string> ids;
        auto environment = platform::IPlatformEnviron::getInstance();
        for (uint32_t id = 0; environment->getStaticMetadata(id) != nullptr; id++)
            ids.push_back(std::to_string(id));
        return report(characteristics->getFwkMetadata(), fmt::format("camera {}", args.cameraId), args.asJson,
                      &ids);
    }
    if (!args.json.empty()) {
        bool read = false;
        const int status = useJsonCamera(args.json, args.index, [&](const camera_metadata_t* packet,
                                                                    const std::string& source) {
            read = true;
            return report(packet, source, args.asJson);
        });
        return read ? status : 2; // the reader said why
    }
    const std::optional<PacketFile> file = PacketFile::read(args.packet, error);
    if (!file)
        return failWith(2, "{}", error);
    return report(file->get(), args.packet, args.asJson);
}

} // namespace

void addMetaCheckCommand(CLI::App& meta, Runner& runner)
{
    auto args = std::make_shared<CheckArgs>();
    auto listRules = std::make_shared<bool>(false);
    CLI::App* check = meta.add_subcommand(
        "check", "A camera's characteristics against the platform's API level 30 rules; exit status 0 "
                 "no error, 1 an error, 2 trouble");
    check->add_flag("--json", args->asJson, "The findings as a JSON array of objects");
    check->add_flag("--rules", *listRules, "List the rules, tab-separated: id, severity, applies to, statement");
    CLI::Option_group* source = check->add_option_group("source");
    source->add_option("FILE", args->packet, "A camera_metadata buffer");
    CLI::Option* camera = source->add_option("--camera", args->cameraId, "Camera id");
    CLI::Option* fromJson = source->add_option(
        "--from-json", args->json, "A JSON object of tag names and values, or an array of them");
    source->require_option(0, 1);
    check->add_option("--index", args->index, "The element of a JSON array to check (default 0)")->needs(fromJson);
    check->callback([&runner, args, listRules, camera, check] {
        args->fromCamera = camera->count() != 0;
        if (*listRules) {
            runner = [] {
                for (const RuleText& rule : ruleTexts())
                    fmt::print("{}\t{}\t{}\t{}\n", rule.id, rule.severity, rule.appliesTo, rule.statement);
                return 0;
            };
        } else if (!args->fromCamera && args->json.empty() && args->packet.empty()) {
            runner = [check] { return usage(*check); };
        } else {
            runner = [args] { return checkCamera(*args); };
        }
    });
}

} // namespace tamo::tool
