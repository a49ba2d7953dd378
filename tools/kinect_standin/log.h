#pragma once

#include <libfreenect2/logger.h>

#include <string>

namespace libfreenect2
{

/// Gives a message to the global logger, whatever the level that it wants, as the library does.
void log(Logger::Level level, const std::string& message);
void logError(const std::string& message);

}  // namespace libfreenect2
