#pragma once

#include <string>
#include <vector>

#include "tools/rigsim/signals.h"

namespace rigsim
{

/// Runs a command to its end, passing on SIGTERM and SIGHUP. Standard input and outputs are its.
/// @param command      program, looked up in PATH, and arguments
/// @param environment  "NAME=VALUE", the whole of it
/// @return its exit status, or as a shell would: 128+N ended by signal N, 127 not found, 126 not
/// executable (with a message on stderr)
int runCommand(const std::vector<std::string>& command, const std::vector<std::string>& environment,
               const Signals& signals);

}  // namespace rigsim
