#include "devices/rig_test/ptz_system_tester.h"

#include <vector>

#include "rig_guard.h"
#include "same_device.h"
#include "test_camera.h"
#include "test_report.h"
#include "test_servo.h"

namespace quill::app
{
namespace
{

/// A device's orders mean something else to another one.
bool testOwnLine(const DeviceName& device, const std::vector<DeviceName>& others,
                 TestReport& report)
{
    report.begin(device, "compare with the others");
    for (const DeviceName& other : others)
        if (isSameDevice(device.path, other.path))
            return report.fail("a line of its own", "that of the " + other.role + " " + other.path);
    return true;
}

}  // namespace

PTZSystemTester::PTZSystemTester(const std::string& camera, const std::string& panServo,
                                 const std::string& tiltServo, const std::string& laser)
    : m_camera(camera), m_panServo(panServo), m_tiltServo(tiltServo), m_laser(laser)
{}

bool PTZSystemTester::runAllTests()
{
    TestReport report;
    const DeviceName camera{"camera", m_camera};
    const DeviceName pan{"pan servo", m_panServo};
    const DeviceName tilt{"tilt servo", m_tiltServo};
    const DeviceName laser{"laser", m_laser};
    if (testOwnLine(laser, {camera, pan, tilt}, report) &&
        testOwnLine(camera, {pan, tilt}, report)) {
        RigGuard guard(laser, report);  // switches the laser off at the end
        report.watch([&] {
            return testCamera(camera, guard) && testServo(pan, kPanServoId, guard) &&
                   testServo(tilt, kTiltServoId, guard) && guard.showLaser();
        });
    }
    m_lastError = report.text();
    return !report.hasFailed();
}

}  // namespace quill::app
