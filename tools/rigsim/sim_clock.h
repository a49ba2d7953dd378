#pragma once

#include "common/time.h"

namespace rigsim
{

using quill::Duration;
using quill::Time;

/// The clock that all devices of a rig share: 0 at its making, then `speed` times as fast as the
/// monotonic clock.
class SimClock
{
  public:
    explicit SimClock(double speed) : m_start(Time::now()), m_speed(speed) {}

    Time now() const
    {
        const auto elapsed = static_cast<double>((Time::now() - m_start).nanoseconds());
        return Time(static_cast<uint64_t>(elapsed * m_speed));
    }

    /// How long it takes in real time until `at`; 1 us at least, so that it has been reached then.
    Duration realTimeUntil(Time at) const
    {
        const auto left = static_cast<double>((at - now()).nanoseconds()) / m_speed;
        return left > 1000 ? Duration(static_cast<int64_t>(left)) : quill::microseconds(1);
    }

  private:
    Time m_start;
    double m_speed;
};

}  // namespace rigsim
