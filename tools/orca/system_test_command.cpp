#include "devices/rig_test/ptz_system_tester.h"
#include "log.h"
#include "tools/orca/hardware_driver.h"

void HardwareDriver::testSystem(const std::string& ptz_tty, const std::string& motors_tty,
                                const std::string& laser_tty)
{
    quill::app::PTZSystemTester tester(ptz_tty, motors_tty, motors_tty, laser_tty);
    if (tester.runAllTests())
        QUILL_LOG(kResult, kLogCategory) << "All tests finished successfully";
    else
        QUILL_LOG(kFailure, kLogCategory) << "There was an error: " << tester.getLastError();
}
