#pragma once

#include "common/time.h"

namespace quill
{

/// One Dynamixel servo on a bus (protocol 1.0). Positions are in the servo's units: 0..4095 over
/// 360 degrees for MX servos, 0..1023 over 300 degrees for AX. Keeps the bus open. Failures are
/// logged with cause and remedy at level 3, category "dynamixel"; one that a poll meets again is
/// told once until the servo answers, and every 10 s at most. Reads are repeated as by DxlDevice.
/// Source: servo maker's e-manual, control table.
class DynamixelMotor
{
  public:
    virtual ~DynamixelMotor() = default;

    /// Writes the goal position (register 30); does not wait for the motion.
    /// @param position  0..65535; the servo refuses what is outside its angle limits
    /// @return whether it was sent and not refused
    virtual bool setGoalPosition(int position) = 0;

    /// Present position (register 36). @return -1 when the servo does not answer
    virtual int getPresentPosition() = 0;

    /// Waits until the servo has stopped: its moving register (46) read 0 twice, 10 ms apart, since
    /// a servo sets the register only some milliseconds after it has taken a goal.
    /// @return false: still moving at the time-out, no answer up to then, or line lost (at once)
    virtual bool waitNotMoving(const Duration& timeout) = 0;

    /// The servo's own ID register (3). @return -1 when the servo does not answer
    virtual int getRealID() const = 0;

    /// The ID that the motor was asked for.
    virtual int getID() const = 0;

    /// Angle limits (registers 6 and 8). @return -1 when the servo does not answer
    virtual int getCWAngleLimit() const = 0;
    virtual int getCCWAngleLimit() const = 0;
};

}  // namespace quill
