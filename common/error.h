#pragma once

#include <string>

#include "common/export.h"

namespace quill
{

/// A failure of a device or of the line to it, in words for the operator. Travels as a value inside
/// the device libraries.
struct Error
{
    std::string subject;  ///< what was worked on: the device path
    std::string step;     ///< what was asked for: "open", "set bit rate 57143"
    int number = 0;       ///< errno; 0 when the device refused, not the system
    std::string reason;   ///< what the device said or did; empty where strerror(number) says it
    std::string remedy;   ///< what the operator can do; may be empty

    /// "/dev/ttyUSB0: open: Permission denied (add yourself to the group dialout)"
    QUILL_API std::string text() const;
};

}  // namespace quill
