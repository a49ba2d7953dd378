#pragma once

#include <algorithm>
#include <optional>

#include "common/time.h"

namespace rigsim
{

using quill::Duration;
using quill::Time;

/// The clock that all devices of a rig share: 0 at its making, then `speed` times as fast as the
/// monotonic clock, but where it is held.
class SimClock
{
  public:
    explicit SimClock(double speed) : m_start(Time::now()), m_speed(speed) {}

    Time now() const
    {
        if (m_held) return *m_held;
        const auto elapsed = static_cast<double>((Time::now() - m_start).nanoseconds());
        return Time(static_cast<uint64_t>(elapsed * m_speed));
    }

    /// How long it takes in real time until `at`; 1 us at least, so that it has been reached then.
    Duration realTimeUntil(Time at) const
    {
        const auto left = static_cast<double>((at - now()).nanoseconds()) / m_speed;
        return left > 1000 ? Duration(static_cast<int64_t>(left)) : quill::microseconds(1);
    }

    /// Stands still from now on, but for advance(), or runs on from there.
    void hold(bool isHeld)
    {
        if (isHeld == m_held.has_value()) return;
        const Time at = now();
        if (isHeld) {
            m_held = at;
            return;
        }
        m_held.reset();
        const auto elapsed = static_cast<double>(at.nanoseconds()) / m_speed;
        m_start = Time(Time::now().nanoseconds() - static_cast<uint64_t>(elapsed));
    }
    /// Never back. @param to  only where it is held
    void advance(Time to) { m_held = std::max(now(), to); }

  private:
    Time m_start;
    double m_speed;
    std::optional<Time> m_held;
};

}  // namespace rigsim
