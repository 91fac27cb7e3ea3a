#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <TamoLogCapture.h>
#include <TamoLogControl.h>
#include <tamo/ImageBuffer.h>

namespace buffertest {

using Lines = std::vector<std::string>;
using tamo::host::LogCapture;

// Sets g_logLv for a scope (by default, only restores it at the end).
struct LevelGuard {
    explicit LevelGuard(uint32_t level = tamo::g_logLv) : saved(tamo::g_logLv) { tamo::g_logLv = level; }
    ~LevelGuard() { tamo::g_logLv = saved; }
    uint32_t saved;
};

// "function: message" of every captured line, in order.
inline Lines lines(const LogCapture& capture)
{
    Lines out;
    for (const auto& r : capture.records())
        out.push_back(r.function + ": " + r.message);
    return out;
}

inline tamo::ImageBufferBuilder builder(unsigned int format, unsigned int w, unsigned int h)
{
    return tamo::ImageBufferBuilder().setImageFormat(format).setSize(w, h);
}

inline std::shared_ptr<tamo::ImageBufferManager> makePool(unsigned int min, unsigned int max, std::string name = "pool")
{
    return tamo::ImageBufferManagerBuilder().setMinCount(min).setMaxCount(max)
            .setName(std::move(name)).setImageBufferBuilder(builder(0x20203859, 32, 8)).build();
}

// The waiter's result; a waiter that never wakes ends the run with a failure
// instead of hanging it.
template <typename T>
T await(std::future<T>& waiter, int seconds = 20)
{
    if (waiter.wait_for(std::chrono::seconds(seconds)) == std::future_status::ready)
        return waiter.get();
    ADD_FAILURE() << "a waiter did not wake up";
    std::fflush(nullptr);
    std::abort();
}

} // namespace buffertest
