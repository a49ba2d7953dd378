#pragma once

#include <cstdarg>
#include <string>
#include <vector>

#include "common/export.h"

namespace quill
{

/// How SplitString cuts. The values are bits.
enum SplitOptions : unsigned {
    kSplitDefault = 0,        ///< drop empty pieces, leave blanks alone
    kSplitKeepEmpty = 1 << 0  ///< an empty piece between two delimiters counts
};

/// Appends to `pieces` the pieces of `text` between any of the characters of `delimiters`, in
/// order.
QUILL_API void SplitString(const std::string& text, const char* delimiters,
                           std::vector<std::string>* pieces, SplitOptions options);

/// printf-style formatting into a string of any length.
QUILL_API std::string formatText(const char* format, va_list values)
    __attribute__((format(printf, 1, 0)));

QUILL_API bool endsWithLineEnd(const std::string& text);

/// The candidate that takes the fewest edits (insert, delete, change, swap neighbours) to become
/// `text`: what the user probably meant.
/// @return the first of the nearest ones; empty when there are no candidates
QUILL_API std::string nearestText(const std::string& text,
                                  const std::vector<std::string>& candidates);

/// `text` on one line: control characters, and bytes that are no UTF-8, become escapes such as \n
/// or \x1b, so that nothing a device or a user sent can break a line or drive a terminal.
QUILL_API std::string escapeControls(const std::string& text);

}  // namespace quill
