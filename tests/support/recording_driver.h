#pragma once

#include <string>
#include <vector>

namespace support
{

/// The calls of HardwareDriver's operations since the last call, as "setCBus [1] [0]". The
/// operations of recording_driver.cpp take the place of the real ones in a program that links it.
std::vector<std::string> takeDriverCalls();

}  // namespace support
