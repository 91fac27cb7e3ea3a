// Host only: what another thread of this process is blocked on, read from
// /proc, and a way to hold threads still; so that a test can force an
// interleaving instead of sleeping and hoping.
#pragma once

#include <linux/futex.h>
#include <pthread.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace testsupport {

inline long threadId() { return syscall(SYS_gettid); }

// True while thread tid is blocked in a system call, and, given an object,
// in futex() on a word inside [object, object + size). The call's number is
// not looked at: under an emulator it is the host's. glibc waits for a
// condition variable with FUTEX_WAIT_BITSET, for a mutex with FUTEX_WAIT:
// onCondition asks for the former.
inline bool parkedOn(long tid, const void* object = nullptr, size_t size = 0, bool onCondition = false)
{
    std::ifstream in("/proc/self/task/" + std::to_string(tid) + "/syscall");
    long number = -1;
    uintptr_t word = 0, op = 0;
    if (!(in >> number >> std::hex >> word >> op) || number < 0)
        return false;
    const auto begin = reinterpret_cast<uintptr_t>(object);
    return (object == nullptr || (word >= begin && word < begin + size)) &&
           (!onCondition || (op & FUTEX_CMD_MASK) == FUTEX_WAIT_BITSET);
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

// While a Freeze lives, the given threads spin in a signal handler (SIGUSR1)
// wherever they were; one that was blocked in a call goes on with it after.
class Freeze {
public:
    explicit Freeze(const std::vector<pthread_t>& threads)
    {
        struct sigaction hold = {};
        hold.sa_handler = [](int) {
            for (held++; !released;)
                std::this_thread::yield();
            held--;
        };
        sigaction(SIGUSR1, &hold, nullptr);
        released = false;
        for (pthread_t t : threads)
            pthread_kill(t, SIGUSR1);
        all = waitUntil([&] { return held == static_cast<int>(threads.size()); });
    }
    ~Freeze()
    {
        released = true;
        waitUntil([] { return held == 0; });
    }

    // Whether every thread was caught.
    bool holding() const { return all; }

private:
    static inline std::atomic<int> held{0};
    static inline std::atomic<bool> released{false};
    bool all = false;
};

} // namespace testsupport
