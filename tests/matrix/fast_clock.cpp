// Preloaded into a program that takes pictures from a simulated Kinect, whose frames come in real
// time: its monotonic clock runs FAST_CLOCK_SPEED times as fast, and its waits are as much shorter.
// At 10, its patience of 100 s costs a test 10 s.

#include <dlfcn.h>
#include <poll.h>
#include <pthread.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ctime>

/// Seen by the dynamic linker, which prefers it to the C library's.
#define PREFERRED extern "C" __attribute__((visibility("default")))

namespace
{

constexpr int64_t kSecond = 1000000000;
constexpr int64_t kMillisecond = 1000000;

template <typename Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

int64_t toNanoseconds(const timespec& time)
{
    return time.tv_sec * kSecond + time.tv_nsec;
}

timespec toTimespec(int64_t nanoseconds)
{
    return {nanoseconds / kSecond, nanoseconds % kSecond};
}

int readClock(clockid_t clock, timespec* time)
{
    static const auto real = next<int(clockid_t, timespec*)>("clock_gettime");
    return real(clock, time);
}

int64_t realNow()
{
    timespec time{};
    readClock(CLOCK_MONOTONIC, &time);
    return toNanoseconds(time);
}

/// Both clocks show the same at the first look.
struct Scale
{
    int64_t start = realNow();
    int64_t speed = std::max(1, std::atoi(std::getenv("FAST_CLOCK_SPEED")));

    int64_t toFast(int64_t real) const { return start + (real - start) * speed; }
    int64_t toReal(int64_t fast) const { return start + (fast - start) / speed; }
};

const Scale& scale()
{
    static const Scale theScale;
    return theScale;
}

}  // namespace

PREFERRED int clock_gettime(clockid_t clock, timespec* time)
{
    const int result = readClock(clock, time);
    if (clock == CLOCK_MONOTONIC && result == 0)
        *time = toTimespec(scale().toFast(toNanoseconds(*time)));
    return result;
}

PREFERRED int ppoll(pollfd* descriptors, nfds_t count, const timespec* timeout,
                    const sigset_t* mask)
{
    static const auto real = next<int(pollfd*, nfds_t, const timespec*, const sigset_t*)>("ppoll");
    if (timeout == nullptr) return real(descriptors, count, timeout, mask);
    const timespec shorter = toTimespec(toNanoseconds(*timeout) / scale().speed);
    return real(descriptors, count, &shorter, mask);
}

PREFERRED int poll(pollfd* descriptors, nfds_t count, int timeout_ms)
{
    const timespec timeout = toTimespec(timeout_ms * kMillisecond);
    return ppoll(descriptors, count, timeout_ms < 0 ? nullptr : &timeout, nullptr);
}

PREFERRED int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                     clockid_t clock, const timespec* end)
{
    static const auto real =
        next<int(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*)>(
            "pthread_cond_clockwait");
    if (clock != CLOCK_MONOTONIC) return real(condition, mutex, clock, end);
    const timespec sooner = toTimespec(scale().toReal(toNanoseconds(*end)));
    return real(condition, mutex, clock, &sooner);
}
