#include <gmock/gmock.h>

#include "common/time.h"
#include "support/process.h"
#include "support/shared_clock.h"
#include "tools/rigsim/rig.h"

// The servo commands of the built program on the simulated bus.

namespace
{

using quill::seconds;
using support::Ended;

std::vector<std::string> on(const rigsim::Rig& rig, const std::string& commands)
{
    return {RIGTOOL, "-t", "device=" + rig.servosPath(), "-t", "commands=" + commands};
}

TEST(ServoCommand, ScanListsEveryServoOnceAtItsOwnRate)
{
    const rigsim::Rig rig;
    const Ended ended = support::run(support::onClockOf(rig, on(rig, "dxldump(34,7)")));
    EXPECT_THAT(
        ended.err,
        testing::MatchesRegex(
            "Device ID 7, baudnum=16\n  Model [^D]*"
            "Device ID 1, baudnum=34\n  Model 001d firmware 24\n  CW limit 0\n  CCW limit 4095\n"
            "  High temp 80\n  V range 6.0V-16.0V\n  Max torque 1023\n  Current position 20[0-9]*\n"
            "Device ID 2, baudnum=34\n  Model [^D]*"));
}

TEST(ServoCommand, InterruptedMotorTestHoldsBothServosWhereTheyAre)
{
    const rigsim::Rig rig;
    const int inTheFirstSwing_ms = 500;
    const auto tool = on(rig, "motortest(100,4000,100,4000,60)");
    EXPECT_EQ(support::run(support::onClockOf(rig, tool, inTheFirstSwing_ms)).status, 130);
    rig.settle();
    for (const int id : {1, 2}) {
        EXPECT_TRUE(rig.waitForServo(
            id, [](const auto& servo) { return !servo.isMoving; }, seconds(5)));
        const rigsim::ServoState servo = rig.servoState(id);
        EXPECT_GT(servo.goal, 110) << "no longer the end of the swing";
        EXPECT_LT(servo.goal, 3990);
        EXPECT_NEAR(servo.position, servo.goal, 60);
    }
}

TEST(ServoCommand, EveryRunPutsTheAdaptersLatencyBack)
{
    const std::string latency =
        "cat /sys/devices/pci0000:00/0000:00:14.0/usb1/1-5/1-5:1.0/ttyUSB1/latency_timer; ";
    const std::string test = "-t device=/dev/ttyUSB1 -t 'commands=motortest(0,4095,0,4095,60)'";
    // TERM, since a shell starts what runs in the background with INT ignored.
    const Ended ended = support::run(
        {RIGSIM, "--", "/bin/sh", "-c",
         RIGTOOL " -t device=/dev/ttyUSB1 -t 'commands=dxlgetbyte(1,3)' 2>&-; " + latency +
             "log=$(mktemp -u); mkfifo $log; " RIGTOOL " " + test + " 2>$log & read line <$log; " +
             latency + "kill -TERM $!; wait; rm $log; " + latency});
    EXPECT_EQ(ended.out, "16\n1\n16\n") << ended.err;
}

TEST(ServoCommand, BusThatCannotBeOpenedEndsTheTestsWithStatusOne)
{
    for (const char* command : {"motortest(1,2,3,4,5);kinect", "dxlprecisiontest(3);kinect"}) {
        const Ended ended = support::run(
            {RIGTOOL, "-t", "device=/dev/none", "-t", std::string("commands=") + command});
        EXPECT_EQ(ended.status, 1);
        EXPECT_THAT(ended.err,
                    testing::MatchesRegex("[^\n]*\\[2\\] visca_control: Failed to open the servo "
                                          "bus: /dev/none: open: No such file [^\n]*\n"));
    }
    const rigsim::Rig rig;
    std::vector<std::string> negative = on(rig, "dxlgetbyte(1,3)");
    negative.insert(negative.end(), {"-t", "dxlbaudnum=-1"});
    EXPECT_THAT(support::run(negative).err,
                testing::HasSubstr("Failed to open USB2Dynamixel at " + rig.servosPath()));
}

}  // namespace
