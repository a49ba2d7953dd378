#include <gmock/gmock.h>

#include <csignal>

#include "common/time.h"
#include "support/process.h"
#include "tools/rigsim/rig.h"

// The camera commands of the built program on the simulated camera.

namespace
{

using quill::seconds;
using quill::Time;
using support::Ended;
using testing::HasSubstr;

std::vector<std::string> on(const rigsim::Rig& rig, const std::string& commands)
{
    return {RIGTOOL, "-t", "device=" + rig.cameraPath(), "-t", "commands=" + commands};
}

TEST(CameraCommand, PulledPlugEndsTheWaitAtOnce)
{
    rigsim::Rig rig;
    support::Process tool(on(rig, "pantilt(2000,0);getpantiltzoom"));
    ASSERT_TRUE(rig.waitForCamera([](const auto& state) { return state.isMoving; }, seconds(30)));
    rig.unplugCamera();
    const Time start = Time::now();
    const Ended ended = tool.wait();
    EXPECT_LT(Time::now() - start, seconds(5));
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.err, HasSubstr("Not waiting for the camera any longer: the connection to it "
                                     "is lost."));
    EXPECT_THAT(ended.err, HasSubstr("Failed to open VISCA camera.")) << "the list went on";
}

TEST(CameraCommand, SecondRunOnTheSameLineIsToldWhoHoldsItAndSendsNothing)
{
    const rigsim::Rig rig({{"camera.restless"}});
    support::Process first(on(rig, "pantilt(10,0)"));
    ASSERT_TRUE(
        rig.waitForCamera([](const auto& state) { return state.panGoal == 10; }, seconds(30)));
    const Ended second = support::run(on(rig, "pantilt(-1000,0)"));
    EXPECT_THAT(second.err, HasSubstr("Device or resource busy (it is held by rigtool, process " +
                                      std::to_string(first.id()) + ")"));
    EXPECT_EQ(rig.cameraState().panGoal, 10);
}

}  // namespace
