#pragma once

#include <string>

namespace quill::app
{

/// Whether both paths lead to one device, by whatever links. False when there is none at one of
/// them: opening it tells so.
bool isSameDevice(const std::string& path, const std::string& other);

}  // namespace quill::app
