#include "common/time.h"

#include <poll.h>

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
    return {span.nanoseconds() / kNanosecondsPerSecond, span.nanoseconds() % kNanosecondsPerSecond};
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
