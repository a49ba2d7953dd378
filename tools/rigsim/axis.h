#pragma once

#include <vector>

#include "common/time.h"

namespace rigsim
{

using quill::Duration;
using quill::Time;

/// One axis of motion: where it stands at any time, moving at constant speed from leg to leg.
/// Positions are whole steps of the device. Pure: knows no clock.
class Axis
{
  public:
    explicit Axis(int position);

    /// Leaves what it is doing at `start`, which may lie ahead, and heads for `goal`.
    /// @param stepsPerSecond  more than 0
    void moveTo(int goal, double stepsPerSecond, Time start);
    /// Heads for `goal` once all it was ordered so far is done.
    void thenTo(int goal, double stepsPerSecond);
    void stop(Time at);

    int position(Time at) const;
    int goal() const;
    /// When it comes, or came, to rest.
    Time arrival() const;
    bool isMoving(Time at) const { return at < arrival(); }

  private:
    struct Leg
    {
        Time start;
        double from;
        Time end;
        double to;
    };

    static double positionOn(const Leg& leg, Time at);
    void cut(Time at);

    std::vector<Leg> m_legs;  // never empty, in order of time
};

}  // namespace rigsim
