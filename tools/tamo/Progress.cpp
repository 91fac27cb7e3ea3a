#include "Progress.h"

#include <cstdio>
#include <string>

#include <fmt/core.h>
#include <unistd.h>

namespace tamo::tool {

namespace {

constexpr auto kDelay = std::chrono::seconds(1);
constexpr auto kInterval = std::chrono::milliseconds(100);
constexpr uint64_t kWidth = 40;

} // namespace

Progress::Progress(uint64_t total) : terminal(isatty(STDERR_FILENO) == 1), total(total) {}

Progress::~Progress()
{
    if (shown)
        fmt::print(stderr, "\r\033[K");
}

void Progress::update(uint64_t done)
{
    if (!terminal || total == 0)
        return;
    const Clock::time_point now = Clock::now();
    if (now - start < kDelay || (shown && now - drawn < kInterval))
        return;
    const uint64_t filled = done * kWidth / total;
    fmt::print(stderr, "\r[{}{}] {:3}% {}/{}", std::string(filled, '#'),
               std::string(kWidth - filled, ' '), done * 100 / total, done, total);
    std::fflush(stderr);
    shown = true;
    drawn = now;
}

} // namespace tamo::tool
