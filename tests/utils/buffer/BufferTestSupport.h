#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>

#include <gtest/gtest.h>

#include <tamo/ImageBuffer.h>

#include "LogLines.h"

namespace buffertest {

using namespace testsupport;
using tamo::host::LogCapture;

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
