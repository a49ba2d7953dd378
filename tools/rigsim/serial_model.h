#pragma once

#include <algorithm>
#include <optional>
#include <vector>

#include "common/time.h"
#include "tools/rigsim/bytes.h"

namespace rigsim
{

using quill::Duration;
using quill::Time;

/// The earlier of two events, each of which may never come.
inline std::optional<Time> earlier(std::optional<Time> a, std::optional<Time> b)
{
    if (!a || !b) return a ? a : b;
    return std::min(*a, *b);
}

/// Bytes that become readable together at a point in time.
struct Output
{
    Time at;
    Bytes bytes;
    unsigned bitRate = 0;  ///< at which they were sent, in bit/s; 0: whichever the program has set
};

/// What a line takes from a program before the device has got it, as the buffers of an adapter and
/// of its driver do.
constexpr Duration kInputBuffer = quill::seconds(1);

/// @param arrival  of the last byte that is on its way
/// @return when there is room for more
inline Time roomAt(Time arrival)
{
    return Time() + std::max(arrival - Time() - kInputBuffer, Duration());
}

/// A simulated device on a serial line: a pure function of the bytes it is given and of simulated
/// time, which starts at 0 with the device's power-up and never goes back.
class SerialModel
{
  public:
    virtual ~SerialModel() = default;

    /// Bytes that a program wrote at `now`. They take their time on the line before they count.
    /// @param bitRate  of the line, in bit/s; 0 when there is none
    /// @return whether anyone there listens at this bit rate
    virtual bool receive(const Bytes& bytes, unsigned bitRate, Time now) = 0;

    /// From when on it takes more bytes, given that its line is full until then. What is written
    /// before waits with the program.
    virtual Time readyAt() const = 0;

    /// When takeOutput() next has something to do.
    virtual std::optional<Time> nextEvent() const = 0;

    /// Lets the time pass up to `now`. @return what was sent since the last call, in order
    virtual std::vector<Output> takeOutput(Time now) = 0;

    /// Whether a packet is still on its way in, at the time of the last call.
    virtual bool isReceiving() const = 0;

    /// Whether a fault has pulled the cable by `now`; nothing is sent after that.
    virtual bool isUnplugged(Time now) const = 0;
};

}  // namespace rigsim
