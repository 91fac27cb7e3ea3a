// Host only: what another thread of this process is blocked on, read from
// /proc, so that a test can wait for a waiter to be parked instead of
// sleeping and hoping.
#pragma once

#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <string>
#include <thread>

namespace testsupport {

inline long threadId()
{
    return syscall(SYS_gettid);
}

// True while thread tid sleeps in futex() on a word inside
// [object, object + size), or on any word when object is null.
inline bool parkedOn(long tid, const void* object = nullptr, size_t size = 0)
{
    std::ifstream in("/proc/self/task/" + std::to_string(tid) + "/syscall");
    long number = -1;
    uintptr_t word = 0;
    if (!(in >> number >> std::hex >> word) || number != SYS_futex)
        return false;
    const auto begin = reinterpret_cast<uintptr_t>(object);
    return object == nullptr || (word >= begin && word < begin + size);
}

// Polls pred until it holds or the time is up; its last answer.
template <typename Pred>
bool waitUntil(Pred pred, std::chrono::seconds limit = std::chrono::seconds(20))
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!pred() && std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
    return pred();
}

} // namespace testsupport
