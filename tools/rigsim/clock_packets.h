#pragma once

#include <cstdint>

namespace rigsim
{

/// What a program and ClockServer say to each other, in the computer's own byte order.

/// A wait begins: until `end`, by the rig's clock in ns. One that is over already ends a wait that
/// was asked for before.
struct ClockRequest
{
    uint64_t number;
    uint64_t end;
};

/// The rig's clock, in ns; `number` is that of the request, 0 after connecting.
struct ClockAnswer
{
    uint64_t number;
    uint64_t now;
};

}  // namespace rigsim
