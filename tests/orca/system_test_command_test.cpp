#include <gmock/gmock.h>

#include "devices/rig_test/ptz_system_tester.h"
#include "support/log_capture.h"
#include "tools/orca/hardware_driver.h"

// The command test on a fake of the tester, put in place by the linker.

namespace
{

std::string s_paths;
bool s_passes = true;

}  // namespace

namespace quill::app
{

PTZSystemTester::PTZSystemTester(const std::string& camera, const std::string& panServo,
                                 const std::string& tiltServo, const std::string& laser)
{
    s_paths = camera + " " + panServo + " " + tiltServo + " " + laser;
}

bool PTZSystemTester::runAllTests()
{
    m_lastError = s_passes ? "" : "laser c: switch on: 100%s";
    return s_passes;
}

}  // namespace quill::app

TEST(SystemTestCommand, PassesTheServosPathTwiceAndLogsOneLine)
{
    for (const bool passes : {true, false}) {
        s_passes = passes;
        support::LogCapture log;
        testing::internal::CaptureStdout();
        EXPECT_EQ(HardwareDriver("/dev/x").executeCommands("test(a, b ,c)"), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        EXPECT_THAT(log.records(),
                    testing::ElementsAre(
                        passes ? "4 visca_control: All tests finished successfully"
                               : "2 visca_control: There was an error: laser c: switch on: 100%s"));
    }
    EXPECT_THAT(s_paths, testing::MatchesRegex("a b ?b ?c|a b  b  c"));
}
