#pragma once

#include <chrono>
#include <cstdint>

namespace tamo::tool {

/*
 * A progress bar on standard error when it is a terminal, shown only once
 * the work has taken a second, and wiped when done.
 */
class Progress {
public:
    explicit Progress(uint64_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void update(uint64_t done);

private:
    using Clock = std::chrono::steady_clock;

    const bool terminal;
    const uint64_t total;
    const Clock::time_point start = Clock::now();
    Clock::time_point drawn;
    bool shown = false;
};

} // namespace tamo::tool
