#pragma once

#include <string>
#include <vector>

/// Runs a program to its end, its standard error thrown away.
/// @param arguments  program path first
/// @return whether it ran and ended with status 0
bool runChild(const std::vector<std::string>& arguments);
