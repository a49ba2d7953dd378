#pragma once

#include <string>

#include "common/error.h"

namespace quill
{

/// Whether an error text of libfreenect2 says so: nothing else of it does.
bool tellsOfMissingPermission(const std::string& libraryError);

/// Why the sensor could not be found, opened or started, and what to do, from what the library says
/// and what the system knows of the sensor.
/// @param step          "find", "open" or "start"
/// @param libraryError  the first one of this step that tells a cause; may be empty
/// @param root          stands before /sys and /dev
Error kinectFailure(const std::string& step, const std::string& libraryError,
                    const std::string& root = "");

/// The folder in which the system describes the sensor; empty where it lists none.
std::string kinectSysPath();

}  // namespace quill
