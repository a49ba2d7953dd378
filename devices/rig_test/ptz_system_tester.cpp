#include "devices/rig_test/ptz_system_tester.h"

#include "camera_test.h"
#include "rig_guard.h"
#include "servo_test.h"
#include "test_report.h"

namespace quill::app
{

PTZSystemTester::PTZSystemTester(const std::string& camera, const std::string& panServo,
                                 const std::string& tiltServo, const std::string& laser)
    : m_camera(camera), m_panServo(panServo), m_tiltServo(tiltServo), m_laser(laser)
{}

bool PTZSystemTester::runAllTests()
{
    TestReport report;
    {
        RigGuard guard({"laser", m_laser}, report);  // switches the laser off at the end
        report.watch([&] {
            return testCamera({"camera", m_camera}, guard) &&
                   testServo({"pan servo", m_panServo}, kPanServoId, guard) &&
                   testServo({"tilt servo", m_tiltServo}, kTiltServoId, guard) && guard.showLaser();
        });
    }
    m_lastError = report.text();
    return !report.hasFailed();
}

}  // namespace quill::app
