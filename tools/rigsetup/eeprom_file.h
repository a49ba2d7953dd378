#pragma once

#include <optional>
#include <string>

#include "devices/gpio/ft232r_codec.h"

namespace rigsetup
{

/// Where a backup goes that was given no name: beside the user's data, named after the adapter and
/// the time. Makes the folder.
/// @throw std::runtime_error  it cannot be made, or there is no home
std::string defaultBackupPath(const std::string& serialNumber);

/// Text: a comment, then the 64 words in hex. An existing file is never overwritten.
/// @throw std::runtime_error  with the path and the cause
void writeEepromFile(const std::string& path, const std::string& comment,
                     const quill::ft232r::EepromWords& words);

/// @throw std::runtime_error  it cannot be read, or is no such file, or its checksum is wrong
quill::ft232r::EepromWords readEepromFile(const std::string& path);

}  // namespace rigsetup
