#pragma once

#include <chrono>

#include "common/time.h"

namespace rigsim
{

/// A span of real time as the standard library's waits take it.
inline std::chrono::nanoseconds toChrono(quill::Duration span)
{
    return std::chrono::nanoseconds(span.nanoseconds());
}

}  // namespace rigsim
