#include "common/time.h"

#include <poll.h>

#include <algorithm>
#include <limits>

#include "common/interrupt.h"

namespace quill
{
namespace
{

constexpr int64_t kNanosecondsPerSecond = 1000000000;

}  // namespace

Time Time::now()
{
    timespec reading{};
    clock_gettime(CLOCK_MONOTONIC, &reading);
    return Time(static_cast<uint64_t>(reading.tv_sec) * kNanosecondsPerSecond +
                static_cast<uint64_t>(reading.tv_nsec));
}

timespec toTimespec(Duration span)
{
    if (span < Duration()) return {};
    // 32 bits on some systems: who waits longer than that waits again, as after any wait cut short.
    constexpr int64_t kMostSeconds = std::numeric_limits<time_t>::max();
    timespec result{};
    result.tv_sec =
        static_cast<time_t>(std::min(span.nanoseconds() / kNanosecondsPerSecond, kMostSeconds));
    result.tv_nsec = static_cast<long>(span.nanoseconds() % kNanosecondsPerSecond);
    return result;
}

void sleep(Duration span)
{
    const Time end = Time::now() + span;
    for (Duration left = span; left > Duration(); left = end - Time::now()) {
        const timespec timeout = toTimespec(left);
        pollfd interrupt{interruptDescriptor(), POLLIN, 0};
        if (ppoll(&interrupt, 1, &timeout, nullptr) > 0) endInterrupted();
    }
}

}  // namespace quill
