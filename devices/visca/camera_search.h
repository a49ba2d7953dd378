#pragma once

#include <optional>

#include "common/time.h"
#include "reply_line.h"

namespace quill::visca
{

/// How a camera was found. Its bit rate is the line's.
struct FoundCamera
{
    bool isClearOwed = false;  ///< interface clear is not answered, which may still come
    int cameras = 0;           ///< on the line; 0 where address set was not answered
    bool isDisturbed = false;  ///< more came than a camera at rest answers: more may be under way
};

/// Finds the camera on an open line: sends address set and interface clear together, at 9600 bit/s,
/// then with an inquiry to address 1, then at 38400 bit/s; four times in each second.
/// @return Silence when nothing answered that is of use
[[nodiscard]] std::optional<Error> findCamera(ReplyLine& line, FoundCamera* found, Time deadline);

}  // namespace quill::visca
