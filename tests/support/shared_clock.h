#pragma once

#include <string>
#include <vector>

#include "tools/rigsim/rig.h"

namespace support
{

/// The command line of a program that shares the clock of the rig's serial lines: it hears a servo
/// in time on the busiest machine, and its waits take no time. For programs that nobody observes
/// meanwhile.
/// @param interrupt_ms  when it gets Ctrl-C, by that clock from its start; 0: never
inline std::vector<std::string> onClockOf(const rigsim::Rig& rig,
                                          const std::vector<std::string>& command,
                                          int interrupt_ms = 0)
{
    std::vector<std::string> words = {"/usr/bin/env", "LD_PRELOAD=" RIG_CLOCK,
                                      "RIGSIM_CLOCK=" + rig.clockPath()};
    if (interrupt_ms > 0) words.push_back("PROGRAM_INTERRUPT=" + std::to_string(interrupt_ms));
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

}  // namespace support
