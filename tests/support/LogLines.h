// Host only: what a test captured from the log, and the log level for a scope.
#pragma once

#include <TamoLogCapture.h>
#include <TamoLogControl.h>

#include <string>
#include <vector>

namespace testsupport {

using Lines = std::vector<std::string>;

// "level function: message" of every captured line, in order.
inline Lines lines(const tamo::host::LogCapture& capture)
{
    Lines out;
    for (const auto& r : capture.records())
        out.push_back(std::to_string(r.level) + " " + r.function + ": " + r.message);
    return out;
}

// Sets g_logLv for a scope (by default only restores it at the end).
struct LevelGuard {
    explicit LevelGuard(uint32_t level = tamo::g_logLv) : saved(tamo::g_logLv) { tamo::g_logLv = level; }
    ~LevelGuard() { tamo::g_logLv = saved; }
    uint32_t saved;
};

// Captures the log, with g_logLv set for the same scope.
struct Logged : tamo::host::LogCapture, LevelGuard {
    explicit Logged(uint32_t level = tamo::g_logLv) : LevelGuard(level) {}
};

} // namespace testsupport
