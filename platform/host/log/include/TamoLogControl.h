/*
 * libtamo_log_control: the camera framework's logging library.
 */
#pragma once

#include <cstdint>

namespace tamo {

enum TAMO_LOG_LEVEL : uint32_t {
    TAMO_LOG_ERROR = 0,
    TAMO_LOG_WARN = 1,
    TAMO_LOG_INFO = 2,
    TAMO_LOG_VERBOSE = 3,
};

// Current log level: a line is written when its level is at most this value.
extern uint32_t g_logLv;

// printf-style; lines above g_logLv are dropped.
void log_dbg_print(const char* tag, TAMO_LOG_LEVEL level, const char* fmt, ...);

} // namespace tamo
