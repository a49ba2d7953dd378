#pragma once

#include <string>

namespace quill::app
{

/// The whole-rig test of a production line: camera, pan servo, tilt servo and laser, in this order,
/// up to the first failure.
///
/// Before anything moves, it is refused when two of the paths but the servos' lead to one device.
/// - Camera (VISCA, 9600 bit/s): answers; pan, tilt and zoom each move by a small step, read back,
///   and return.
/// - Pan and tilt servo (Dynamixel protocol 1.0, kServoBaudNumber): has its own ID, is
///   within its own limits of voltage and temperature, moves by a small step within its angle
///   limits, reads back, and returns. A servo in wheel mode is not moved: the test fails.
/// - Laser (serial relay): is switched on, then off. The relay never answers: what is tested is
///   that its line takes the orders.
///
/// However the test ends, each axis that was ordered to move is ordered back and waited for, a
/// servo's torque is as it was, and the laser is ordered off, also when it was on before; it is on
/// for 2 s at most even when this process is killed or stopped. With Ctrl-C too
/// (common/interrupt.h): then the laser goes first, and the way back gets 2 s. An exchange with a
/// device under way is ended before (4 s at most, some milliseconds with a device that answers).
///
/// A healthy rig takes some 4 s. No step waits without an end: 120 s at most in all. Each step is
/// logged as it begins, level 5, category "rig_test"; causes of failures are logged by the device
/// libraries at level 3. Main thread.
class PTZSystemTester
{
  public:
    /// The rig's servos leave the factory with this value in register 4: 57143 bit/s.
    static constexpr int kServoBaudNumber = 34;
    static constexpr int kPanServoId = 1;
    static constexpr int kTiltServoId = 2;

    /// @param camera     path of the camera's serial line
    /// @param panServo   path of the serial line of the bus that the pan servo is on, ...
    /// @param tiltServo  ... and of the tilt servo's; may be the same one
    /// @param laser      path of the relay's serial line; none of the others
    /// Nothing is opened yet.
    PTZSystemTester(const std::string& camera, const std::string& panServo,
                    const std::string& tiltServo, const std::string& laser);

    /// Runs the whole test; may be called again, which starts anew.
    /// @return whether all of it passed, the way back and the laser's off included
    bool runAllTests();

    /// What failed in the last run, in one line: the device, its path, the step, what was expected
    /// and what came; then, after "; and", what could not be brought back. Empty before the first
    /// run and after one that passed.
    std::string getLastError() const { return m_lastError; }

  private:
    std::string m_camera;
    std::string m_panServo;
    std::string m_tiltServo;
    std::string m_laser;
    std::string m_lastError;
};

}  // namespace quill::app
