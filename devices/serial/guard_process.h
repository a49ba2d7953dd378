#pragma once

#include <cstdint>
#include <vector>

#include "common/time.h"

namespace quill
{

/// What a guard process is to do; see LineGuard.
struct GuardTask
{
    const char* name;  ///< of the process; up to 15 characters are shown
    const char* path;  ///< of the line, which is opened anew when it was lost
    int bitRate;
    int line;     ///< descriptor of the open line
    int release;  ///< pipe that ends, or can be read, when the last order is due
    int reports;  ///< pipe that takes one GuardReport for each order
    const std::vector<uint8_t>& first;
    const std::vector<uint8_t>& last;
};

/// Between the first order and the last one at most, and for as long again the last one is tried.
constexpr Duration kLongestGuard = seconds(2);

/// How an order went.
struct GuardReport
{
    enum Step { Open, Write, Drain } step = Write;
    int number = 0;       ///< errno; 0: the line has taken it
    bool isLast = false;  ///< which order
};

/// The life of a guard process, in the child of a fork() with all signals blocked. Uses only what a
/// child of a process with several threads may use: nothing that allocates, logs or locks. Its exit
/// status is 0 when the line has taken the last order.
[[noreturn]] void runGuardProcess(const GuardTask& task);

}  // namespace quill
