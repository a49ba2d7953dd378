#pragma once

#include <string>

namespace quill
{

/// Who has a device node, of a serial line or of USB, open or locked: "minicom, process 1234";
/// several are joined with "and". Empty when that cannot be seen: another user's process shows only
/// with a lock.
std::string nodeHolder(const std::string& path);

}  // namespace quill
