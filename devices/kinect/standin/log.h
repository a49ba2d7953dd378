#pragma once

#include <string>

namespace libfreenect2
{

/// Gives a message of level Error to the global logger, if it wants it.
void logError(const std::string& message);

}  // namespace libfreenect2
