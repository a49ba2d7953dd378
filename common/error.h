#pragma once

#include <string>

#include "common/export.h"

namespace quill
{

/// What a failure means to who asked a device for something.
enum class ErrorKind {
    Failure,    ///< none of those below: of the system, or refused before anything was sent
    Silence,    ///< nothing came in time
    NotTaken,   ///< the line did not take the bytes in time
    Damaged,    ///< what came is no whole answer
    Ambiguous,  ///< more than one answer came
    Refused,    ///< the device answered that it will not
    LineLost,   ///< the adapter is gone: nothing more will come from this open line
};

/// A failure of a device or of the line to it, in words for the operator. Travels as a value inside
/// the device libraries.
struct Error
{
    std::string subject;  ///< what was worked on: the device path
    std::string step;     ///< what was asked for: "open", "set bit rate 57143"
    int number = 0;       ///< errno; 0 when it was not the system that failed
    std::string reason;   ///< what the device said or did; empty where strerror(number) says it
    std::string remedy;   ///< what the operator can do; may be empty
    ErrorKind kind = ErrorKind::Failure;

    /// "/dev/ttyUSB0: open: Permission denied (add yourself to the group dialout)"
    QUILL_API std::string text() const;
};

}  // namespace quill
