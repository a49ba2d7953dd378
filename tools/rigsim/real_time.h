#pragma once

#include <chrono>
#include <ctime>

#include "common/time.h"

namespace rigsim
{

/// A span of real time as the system's waits take it.
inline timespec toTimespec(quill::Duration span)
{
    constexpr int64_t kSecond = 1000000000;
    return {span.nanoseconds() / kSecond, span.nanoseconds() % kSecond};
}

inline std::chrono::nanoseconds toChrono(quill::Duration span)
{
    return std::chrono::nanoseconds(span.nanoseconds());
}

}  // namespace rigsim
