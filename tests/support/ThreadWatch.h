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
#include <cerrno>
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

// While a Freeze lives, the given threads sit in a signal handler (SIGUSR1)
// wherever they were; one that was blocked in a call goes on with it after.
class Freeze {
public:
    explicit Freeze(std::vector<pthread_t> threads) : threads(std::move(threads))
    {
        struct sigaction hold = {}, wake = {};
        hold.sa_handler = [](int) {
            const int savedErrno = errno; // sigsuspend sets it
            held++;
            sigset_t mask;
            sigfillset(&mask);
            sigdelset(&mask, SIGUSR2);
            while (!released)
                sigsuspend(&mask); // SIGUSR2 stays blocked until here, so none is lost
            held--;
            errno = savedErrno;
        };
        sigemptyset(&hold.sa_mask);
        sigaddset(&hold.sa_mask, SIGUSR2);
        wake.sa_handler = [](int) {};
        sigaction(SIGUSR1, &hold, nullptr);
        sigaction(SIGUSR2, &wake, nullptr);
        released = false;
        for (pthread_t t : this->threads)
            pthread_kill(t, SIGUSR1);
        all = waitUntil([this] { return held == static_cast<int>(this->threads.size()); });
    }
    ~Freeze()
    {
        released = true;
        for (pthread_t t : threads)
            pthread_kill(t, SIGUSR2);
        waitUntil([] { return held == 0; });
    }
    Freeze(const Freeze&) = delete;
    Freeze& operator=(const Freeze&) = delete;

    // Whether every thread was caught.
    bool holding() const { return all; }

private:
    static inline std::atomic<int> held{0};
    static inline std::atomic<bool> released{false};
    std::vector<pthread_t> threads;
    bool all = false;
};

} // namespace testsupport
