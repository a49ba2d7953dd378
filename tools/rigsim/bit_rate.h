#pragma once

#include "tools/rigsim/bytes.h"

namespace rigsim
{

/// What a receiver makes of bytes (8N1) that were sent at another bit rate than its own: the bytes
/// themselves up to 3 % apart, rubbish beyond. A byte whose stop bit is missing reads as 0.
/// @param sentAt, heardAt  in bit/s, more than 0
Bytes asHeard(const Bytes& bytes, unsigned sentAt, unsigned heardAt);

}  // namespace rigsim
