/*
 * Host libtamo_log_control: writes lines to standard error in logcat's
 * "L/tag: text" shape and lets tests capture them.
 */
#include "TamoLogControl.h"
#include "TamoLogCapture.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace tamo {

namespace {

uint32_t initialLevel()
{
    const char* env = std::getenv("TAMO_LOG_LEVEL");
    if (env == nullptr || *env == '\0')
        return 2;
    char* end = nullptr;
    unsigned long value = std::strtoul(env, &end, 10);
    return (end != nullptr && *end == '\0') ? static_cast<uint32_t>(value) : 2;
}

// One capture state for the process; never freed, so a writer racing the end
// of a capture cannot touch released memory.
struct CaptureState {
    std::mutex lock;
    std::vector<host::LogRecord> records;
    std::atomic<bool> active{false};
    std::atomic<bool> quiet{true};
};

CaptureState& captureState()
{
    static CaptureState* state = new CaptureState;
    return *state;
}

// Splits "file:line function() format" back into its fields.
void parsePrefix(host::LogRecord& r)
{
    r.format = r.fmt;
    r.message = r.text;
    size_t colon = r.fmt.find(':');
    if (colon == std::string::npos)
        return;
    size_t pos = colon + 1;
    size_t digits = pos;
    while (digits < r.fmt.size() && r.fmt[digits] >= '0' && r.fmt[digits] <= '9')
        digits++;
    if (digits == pos || digits >= r.fmt.size() || r.fmt[digits] != ' ')
        return;
    size_t funcEnd = r.fmt.find("() ", digits + 1);
    if (funcEnd == std::string::npos)
        return;
    size_t prefixLen = funcEnd + 3;
    r.file = r.fmt.substr(0, colon);
    r.line = std::atoi(r.fmt.substr(pos, digits - pos).c_str());
    r.function = r.fmt.substr(digits + 1, funcEnd - digits - 1);
    r.format = r.fmt.substr(prefixLen);
    r.message = r.text.size() >= prefixLen ? r.text.substr(prefixLen) : std::string();
}

char levelLetter(TAMO_LOG_LEVEL level)
{
    switch (level) {
    case TAMO_LOG_ERROR: return 'E';
    case TAMO_LOG_WARN: return 'W';
    case TAMO_LOG_INFO: return 'I';
    default: return 'V';
    }
}

} // namespace

uint32_t g_logLv = initialLevel();

void log_dbg_print(const char* tag, TAMO_LOG_LEVEL level, const char* fmt, ...)
{
    if (fmt == nullptr)
        return;
    CaptureState& state = captureState();
    bool capturing = state.active.load(std::memory_order_acquire);
    bool print = level <= g_logLv && !(capturing && state.quiet.load(std::memory_order_relaxed));
    if (!capturing && !print)
        return;

    char stackBuf[1024];
    std::string heapBuf;
    const char* text = stackBuf;
    va_list args;
    va_start(args, fmt);
    va_list copy;
    va_copy(copy, args);
    int n = std::vsnprintf(stackBuf, sizeof(stackBuf), fmt, args);
    va_end(args);
    if (n >= static_cast<int>(sizeof(stackBuf))) {
        heapBuf.resize(static_cast<size_t>(n) + 1);
        std::vsnprintf(heapBuf.data(), heapBuf.size(), fmt, copy);
        heapBuf.resize(static_cast<size_t>(n));
        text = heapBuf.c_str();
    } else if (n < 0) {
        stackBuf[0] = '\0';
    }
    va_end(copy);

    if (print)
        std::fprintf(stderr, "%c/%s: %s\n", levelLetter(level), tag ? tag : "", text);

    if (capturing) {
        host::LogRecord r;
        r.tag = tag ? tag : "";
        r.level = level;
        r.fmt = fmt;
        r.text = text;
        parsePrefix(r);
        std::lock_guard<std::mutex> guard(state.lock);
        if (state.active.load(std::memory_order_relaxed))
            state.records.push_back(std::move(r));
    }
}

namespace host {

LogCapture::LogCapture(bool quiet)
{
    CaptureState& state = captureState();
    std::lock_guard<std::mutex> guard(state.lock);
    if (state.active.load(std::memory_order_relaxed)) {
        std::fprintf(stderr, "LogCapture: a capture is already active\n");
        std::abort();
    }
    state.records.clear();
    state.quiet.store(quiet, std::memory_order_relaxed);
    state.active.store(true, std::memory_order_release);
}

LogCapture::~LogCapture()
{
    CaptureState& state = captureState();
    std::lock_guard<std::mutex> guard(state.lock);
    state.active.store(false, std::memory_order_release);
    state.records.clear();
}

std::vector<LogRecord> LogCapture::records() const
{
    CaptureState& state = captureState();
    std::lock_guard<std::mutex> guard(state.lock);
    return state.records;
}

void LogCapture::clear()
{
    CaptureState& state = captureState();
    std::lock_guard<std::mutex> guard(state.lock);
    state.records.clear();
}

std::vector<LogRecord> LogCapture::withFormat(std::string_view format, int level) const
{
    std::vector<LogRecord> out;
    for (auto& r : records())
        if (r.format == format && (level < 0 || r.level == static_cast<unsigned int>(level)))
            out.push_back(r);
    return out;
}

size_t LogCapture::count(std::string_view format, int level) const
{
    return withFormat(format, level).size();
}

bool LogCapture::hasMessage(std::string_view message) const
{
    for (auto& r : records())
        if (r.message == message)
            return true;
    return false;
}

} // namespace host
} // namespace tamo
