#pragma once

#include <string>

namespace quill
{

/// Who has a serial line open or locked: "minicom, process 1234"; several are joined with "and".
/// Empty when that cannot be seen: another user's process shows only with a lock.
std::string lineHolder(const std::string& path);

}  // namespace quill
