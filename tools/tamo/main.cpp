/*
 * tamo: the camera HAL utility library at work on the host. Each subcommand
 * lives in a file of its own.
 */
#include <cstdlib>

#include <TamoLogControl.h>

#include "Command.h"

int main(int argc, char** argv)
{
    using namespace tamo::tool;

    CLI::App app{"tamo: the camera HAL utility library libtamo_utils, played on the host"};
    app.require_subcommand(1);
    app.fallthrough();
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return fmt::format("tamo: {} (see --help)\n", error.what());
    });
    int logLevel = -1;
    app.add_option("--log-level", logLevel,
                   "Library log level: 0 errors, 1 warnings, 2 information, 3 verbose "
                   "(default 1, or TAMO_LOG_LEVEL when set)")
        ->check(CLI::Range(0, 3));

    Runner runner;
    addSessionCommand(app, runner);
    addTagsCommand(app, runner);
    addMetaCommand(app, runner);
    addRaw2PngCommand(app, runner);
    CLI11_PARSE(app, argc, argv);

    // The library's own default shows its set-up steps; a tool run wants
    // only what went wrong, unless asked.
    if (logLevel >= 0)
        tamo::g_logLv = static_cast<uint32_t>(logLevel);
    else if (std::getenv("TAMO_LOG_LEVEL") == nullptr)
        tamo::g_logLv = tamo::TAMO_LOG_WARN;
    return runner ? runner() : 1;
}
