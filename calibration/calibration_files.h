#pragma once

#include <string_view>

#define CALIBRATION_API __attribute__((visibility("default")))

/// Calibration files that travel inside the library, so that a program finds them without any path.
namespace calibration
{

/// @param name  file name without folder, for example "servos.ini"
/// @return the file's text, valid for the life of the process; a view with a null data pointer when
/// there is no such file
CALIBRATION_API std::string_view embeddedFile(std::string_view name);

}  // namespace calibration

/// Does nothing but stand in the library: a program that calls it needs libcalibration_files.so at
/// load time, under whatever linker settings, and so has the files at hand.
CALIBRATION_API void embedded_calibration_files_dummy();
