#include <gmock/gmock.h>

#include "common/time.h"
#include "support/process.h"
#include "support/shared_clock.h"
#include "tools/rigsim/rig.h"

// The command test of the built program on the simulated rig.

namespace
{

using quill::seconds;

void expectAtRest(const rigsim::Rig& rig)
{
    rig.settle();
    const auto stands = [](const auto& state) { return !state.isMoving; };
    EXPECT_TRUE(rig.waitForCamera(stands, seconds(5)));
    for (const int id : {1, 2}) {
        EXPECT_TRUE(rig.waitForServo(id, stands, seconds(5)));
        const rigsim::ServoState servo = rig.servoState(id);
        EXPECT_EQ(servo.goal, 2048);
        EXPECT_NEAR(servo.position, 2048, 12);
        EXPECT_FALSE(servo.torque);
    }
    const rigsim::CameraState camera = rig.cameraState();
    EXPECT_EQ(camera.pan, 0);
    EXPECT_EQ(camera.tilt, 0);
    EXPECT_EQ(camera.zoom, 0);
    EXPECT_FALSE(rig.laserState().isOn);
}

TEST(WholeRigTest, PassesOnAHealthyRigAndLeavesItAsItWas)
{
    const rigsim::Rig rig;
    for (const int run : {1, 2}) {
        const quill::Time start = quill::Time::now();
        const support::Ended ended = support::run(
            support::onClockOf(rig, {RIGTOOL, "-t",
                                     "commands=test(" + rig.cameraPath() + "," + rig.servosPath() +
                                         "," + rig.laserPath() + ")"}));
        EXPECT_LT(quill::Time::now() - start, seconds(30));
        EXPECT_EQ(ended.status, 0);
        EXPECT_EQ(ended.out, "");
        EXPECT_THAT(ended.err, testing::HasSubstr(
                                   "[4] visca_control: All tests finished successfully (tools"));
        expectAtRest(rig);
        EXPECT_EQ(rig.cameraState().moves, 6 * run) << "three axes, there and back";
        EXPECT_GE(rig.servoState(1).moves, 2 * run);
        EXPECT_GE(rig.servoState(2).moves, 2 * run);
        EXPECT_EQ(rig.laserState().switchedOn, run);
        EXPECT_EQ(rig.laserState().packets, 2 * run) << "on, then off";
    }
}

}  // namespace
