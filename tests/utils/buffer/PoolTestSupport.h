#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>

#include <gtest/gtest.h>

#include <tamo/ImageBuffer.h>

namespace pooltest {

inline tamo::ImageBufferBuilder y8Builder()
{
    tamo::ImageBufferBuilder builder;
    builder.setImageFormat(0x20203859).setSize(32, 8);
    return builder;
}

inline std::shared_ptr<tamo::ImageBufferManager> makePool(unsigned int min, unsigned int max,
                                                         std::string name = "pool")
{
    return tamo::ImageBufferManagerBuilder()
            .setMinCount(min)
            .setMaxCount(max)
            .setName(std::move(name))
            .setImageBufferBuilder(y8Builder())
            .build();
}

// A waiter that never wakes would hang the run: end it with a failure.
template <typename T>
T await(std::future<T>& f, std::chrono::seconds limit = std::chrono::seconds(20))
{
    if (f.wait_for(limit) != std::future_status::ready) {
        ADD_FAILURE() << "a waiter did not wake up";
        std::fflush(nullptr);
        std::abort();
    }
    return f.get();
}

// Waits for whichever of two waiters wakes first; returns 0 or 1.
template <typename T>
int awaitEither(std::future<T>& a, std::future<T>& b)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < deadline) {
        if (a.wait_for(std::chrono::milliseconds(1)) == std::future_status::ready)
            return 0;
        if (b.wait_for(std::chrono::milliseconds(1)) == std::future_status::ready)
            return 1;
    }
    ADD_FAILURE() << "no waiter woke up";
    std::fflush(nullptr);
    std::abort();
}

} // namespace pooltest
