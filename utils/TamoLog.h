/*
 * The library's one way to log: every message is wrapped in a
 * "file:line function() message" prefix and handed to the framework's
 * log_dbg_print under the tag "tamo". The wrapped text becomes the format,
 * so the message's own placeholders are filled from the further arguments.
 *
 * Callers decide whether a line is gated on g_logLv; these macros never are.
 */
#pragma once

#include <cstddef>

#include <TamoLogControl.h>

namespace tamo::logging {

constexpr size_t kLogLineSize = 1024;

// Writes "base-name-of-file:line function() message" into buf, bounds-checked.
void formatPrefix(char* buf, size_t size, const char* file, int line,
                  const char* function, const char* message);

// Never called: gives the compiler a printf signature to check messages against.
[[gnu::format(printf, 1, 2)]] inline void checkFormat(const char*, ...) {}

} // namespace tamo::logging

#define TAMO_LOG(level, message, ...)                                                 \
    do {                                                                              \
        if (false)                                                                    \
            ::tamo::logging::checkFormat(message, ##__VA_ARGS__);                     \
        char tamoLogLine_[::tamo::logging::kLogLineSize] = {};                        \
        ::tamo::logging::formatPrefix(tamoLogLine_, sizeof(tamoLogLine_), __FILE__,   \
                                      __LINE__, __func__, message);                   \
        ::tamo::log_dbg_print("tamo", level, tamoLogLine_, ##__VA_ARGS__);           \
    } while (0)

#define TAMO_LOGE(message, ...) TAMO_LOG(::tamo::TAMO_LOG_ERROR, message, ##__VA_ARGS__)
#define TAMO_LOGW(message, ...) TAMO_LOG(::tamo::TAMO_LOG_WARN, message, ##__VA_ARGS__)
#define TAMO_LOGI(message, ...) TAMO_LOG(::tamo::TAMO_LOG_INFO, message, ##__VA_ARGS__)
#define TAMO_LOGV(message, ...) TAMO_LOG(::tamo::TAMO_LOG_VERBOSE, message, ##__VA_ARGS__)

// Gated variants, for the lines that are built only when the level allows.
#define TAMO_LOGW_IF_ENABLED(message, ...) \
    do { if (::tamo::g_logLv != 0) TAMO_LOGW(message, ##__VA_ARGS__); } while (0)
#define TAMO_LOGI_IF_ENABLED(message, ...) \
    do { if (::tamo::g_logLv >= 2) TAMO_LOGI(message, ##__VA_ARGS__); } while (0)
#define TAMO_LOGV_IF_ENABLED(message, ...) \
    do { if (::tamo::g_logLv >= 3) TAMO_LOGV(message, ##__VA_ARGS__); } while (0)
