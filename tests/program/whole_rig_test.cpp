#include <gmock/gmock.h>

#include <csignal>
#include <regex>

#include "common/time.h"
#include "support/process.h"
#include "tools/rigsim/rig.h"

// The command test of the built program on the simulated rig.

namespace
{

using quill::seconds;
using quill::Time;
using support::Ended;
using testing::HasSubstr;

std::string testCommand(const rigsim::Rig& rig, const std::string& laser)
{
    return "test(" + rig.cameraPath() + "," + rig.servosPath() + "," + laser + ")";
}

std::vector<std::string> on(const rigsim::Rig& rig, const std::string& commands)
{
    return {RIGTOOL, "-t", "device=" + rig.servosPath(), "-t", "commands=" + commands};
}

std::vector<std::string> testOf(const rigsim::Rig& rig)
{
    return on(rig, testCommand(rig, rig.laserPath()));
}

/// So slow that its small step takes 0.6 s.
void slowDown(const rigsim::Rig& rig, int servo)
{
    const std::string speed = "dxlsetword(" + std::to_string(servo) + ",32,10)";
    ASSERT_EQ(support::run(on(rig, speed)).err, "");
}

/// The command's log records, without the libraries' (a busy machine may cost a servo's answer).
std::string ownLines(const std::string& err)
{
    static const std::regex own(R"((\[\d\] visca_control: .*) \(tools/.*\))");
    std::string found;
    for (std::sregex_iterator line(err.begin(), err.end(), own), end; line != end; ++line)
        found += (found.empty() ? "" : "\n") + (*line)[1].str();
    return std::regex_replace(found, std::regex("/[^ ]+/tty"), "TTY");
}

void expectAtRest(const rigsim::Rig& rig, const std::string& what)
{
    rig.settle();
    const auto stands = [](const auto& state) { return !state.isMoving; };
    EXPECT_TRUE(rig.waitForCamera(stands, seconds(5))) << what;
    for (const int id : {1, 2}) {
        EXPECT_TRUE(rig.waitForServo(id, stands, seconds(5))) << what;
        const rigsim::ServoState servo = rig.servoState(id);
        EXPECT_EQ(servo.goal, 2048) << what;
        EXPECT_NEAR(servo.position, 2048, 12) << what;
        EXPECT_FALSE(servo.torque) << what;
    }
    const rigsim::CameraState camera = rig.cameraState();
    EXPECT_EQ(camera.pan, 0) << what;
    EXPECT_EQ(camera.tilt, 0) << what;
    EXPECT_EQ(camera.zoom, 0) << what;
    EXPECT_FALSE(rig.laserState().isOn) << what;
}

TEST(WholeRigTest, PassesOnAHealthyRigAndLeavesItAsItWas)
{
    const rigsim::Rig rig;
    for (const int run : {1, 2}) {
        const Time start = Time::now();
        const Ended ended = support::run(testOf(rig));
        EXPECT_LT(Time::now() - start, seconds(30));
        EXPECT_EQ(ended.status, 0);
        EXPECT_EQ(ended.out, "");
        EXPECT_EQ(ownLines(ended.err), "[4] visca_control: All tests finished successfully");
        expectAtRest(rig, "run " + std::to_string(run));
        EXPECT_EQ(rig.cameraState().moves, 6 * run) << "three axes, there and back";
        EXPECT_GE(rig.servoState(1).moves, 2 * run);
        EXPECT_GE(rig.servoState(2).moves, 2 * run);
        EXPECT_EQ(rig.laserState().switchedOn, run);
        EXPECT_EQ(rig.laserState().packets, 2 * run) << "on, then off";
    }
}

TEST(WholeRigTest, InterruptSwitchesTheLaserOffAndSendsTheAxisBack)
{
    const auto isMoving = [](const auto& state) { return state.isMoving; };
    const struct
    {
        const char* what;
        std::function<bool(const rigsim::Rig&)> waitFor;
    } cases[] = {
        {"camera in motion",
         [&](const auto& rig) { return rig.waitForCamera(isMoving, seconds(30)); }},
        {"pan servo in motion",
         [&](const auto& rig) { return rig.waitForServo(1, isMoving, seconds(30)); }},
        {"tilt servo in motion",
         [&](const auto& rig) { return rig.waitForServo(2, isMoving, seconds(30)); }},
        {"tilt servo on its way back",
         [&](const auto& rig) {
             const auto turnsBack = [](const auto& servo) { return servo.moves == 2; };
             return rig.waitForServo(2, turnsBack, seconds(30));
         }},
        {"laser on",
         [](const auto& rig) {
             const auto isOrdered = [](const auto& laser) { return laser.packets == 2; };
             return rig.waitForLaser(isOrdered, seconds(30));
         }},
    };
    for (const auto& c : cases) {
        const rigsim::Rig rig;
        slowDown(rig, 1);
        slowDown(rig, 2);
        // The laser is on from before: an interrupted test has to switch it off all the same.
        ASSERT_EQ(
            support::run({RIGTOOL, "-t", "device=" + rig.laserPath(), "-t", "commands=laser(1)"})
                .err,
            "");
        support::Process tool(testOf(rig));
        ASSERT_TRUE(c.waitFor(rig)) << c.what;
        const Time start = Time::now();
        tool.signal(SIGINT);
        const Ended ended = tool.wait();
        EXPECT_LT(Time::now() - start, seconds(5)) << c.what;
        EXPECT_EQ(ended.status, 130) << c.what;
        EXPECT_THAT(ended.err, testing::Not(HasSubstr("rig_test: interrupted;"))) << c.what;
        expectAtRest(rig, c.what);
    }
}

}  // namespace
