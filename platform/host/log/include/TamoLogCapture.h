/*
 * Host only: collects what reaches log_dbg_print, so tests can assert on the
 * exact lines the library writes. Not part of the device's logging library.
 */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tamo::host {

struct LogRecord {
    std::string tag;
    unsigned int level = 0;
    std::string fmt;      // the format handed to log_dbg_print, prefix included
    std::string text;     // the line after formatting
    // Fields of the "file:line function() message" prefix, parsed back out.
    std::string file;
    int line = 0;
    std::string function;
    std::string format;   // the message's own format, after the prefix
    std::string message;  // the message after formatting, after the prefix
};

/*
 * While an instance lives, every call of log_dbg_print is recorded, whatever
 * g_logLv says: the level filter applies to output only, so tests can tell a
 * call that was gated by its caller from one that was filtered here. At most
 * one capture is active at a time; the recording is thread-safe.
 */
class LogCapture {
public:
    // quiet: keep captured lines off standard error.
    explicit LogCapture(bool quiet = true);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogRecord> records() const;
    void clear();

    // Records whose message format equals `format` (and level, when >= 0).
    std::vector<LogRecord> withFormat(std::string_view format, int level = -1) const;
    size_t count(std::string_view format, int level = -1) const;
    // True when some record's formatted message equals `message`.
    bool hasMessage(std::string_view message) const;
};

} // namespace tamo::host
