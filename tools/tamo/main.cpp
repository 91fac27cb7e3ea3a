/*
 * tamo: the camera HAL utility library at work on the host. Each subcommand
 * lives in a file of its own.
 */
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include <TamoLogControl.h>

#include "Command.h"

namespace {

// The library reads TAMO_LOG_LEVEL itself and takes any number; the tool
// keeps to the levels there are.
bool environmentSetsLogLevel()
{
    const char* level = std::getenv("TAMO_LOG_LEVEL");
    if (level == nullptr || *level == '\0')
        return false;
    if (std::strlen(level) == 1 && level[0] >= '0' && level[0] <= '3')
        return true;
    fmt::print(stderr,
               "tamo: warning: TAMO_LOG_LEVEL={} is not 0 (errors), 1 (warnings), 2 (information) "
               "or 3 (verbose); using 1\n",
               level);
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    using namespace tamo::tool;

    // Past a file size limit a write fails with EFBIG, instead of the
    // process ending with its output half made.
    std::signal(SIGXFSZ, SIG_IGN);

    CLI::App app{"tamo: the camera HAL utility library libtamo_utils, played on the host"};
    app.footer("Exit status: 0 done; 1 refused (an input not taken, no such camera, an output "
               "that is an input) or, for meta diff, a difference and, for meta check, an error "
               "found; 2 a usage error or trouble (an output not written, the library failing, "
               "and for meta check an input it cannot read).");
    app.set_version_flag("--version", "tamo (libtamo_utils) " TAMO_UTILS_VERSION);
    app.require_subcommand(0, 1);
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
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        // The parser's own statuses are 100 and up; a usage error is 2.
        return app.exit(error) == 0 ? 0 : 2;
    }
    if (!runner)
        return usage(app);

    // The library's own default shows its set-up steps; a tool run wants
    // only what went wrong, unless asked.
    if (logLevel >= 0)
        tamo::g_logLv = static_cast<uint32_t>(logLevel);
    else if (!environmentSetsLogLevel())
        tamo::g_logLv = tamo::TAMO_LOG_WARN;

    // fmt reports a failed write to standard output (a full disk, a size
    // limit) by throwing; what stdio still holds is flushed here.
    int status = 2;
    try {
        status = runner();
    } catch (const std::system_error& error) {
        std::fprintf(stderr, "tamo: standard output: %s\n", error.code().message().c_str());
        return 2;
    }
    if (std::fflush(stdout) != 0) {
        std::fprintf(stderr, "tamo: standard output: %s\n", std::strerror(errno));
        return 2;
    }
    return status;
}
