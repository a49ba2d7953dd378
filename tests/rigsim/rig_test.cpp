#include "tools/rigsim/rig.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "tests/rigsim/serial_client.h"
#include "tools/rigsim/pty_line.h"

namespace
{

using namespace rigsim;
using quill::seconds;
using testing::HasSubstr;

const std::string kAddressSet = "88 30 01 FF";
const std::string kMove = "81 01 06 02 14 14 00 00 06 04 0F 0F 0E 0C FF";  // 100, -20 at 20

TEST(PtyLine, CarriesEveryByteBothWaysAndAnyBitRate)
{
    PtyLine line;
    std::string all;
    Bytes bytes;
    for (int i = 0; i < 256; ++i) {
        bytes.push_back(static_cast<uint8_t>(i));
        all += static_cast<char>(i);
    }
    for (const unsigned bitRate : {9600U, 57143U, 2000000U}) {
        const SerialClient client(line.path(), bitRate);
        EXPECT_EQ(line.bitRate(), bitRate);
        ASSERT_EQ(write(client.descriptor(), all.data(), all.size()), 256);
        EXPECT_TRUE(line.hasInput());
        EXPECT_EQ(line.read(), bytes);
        EXPECT_EQ(line.write(bytes), 256U);
        std::string back(256, 0);
        EXPECT_EQ(read(client.descriptor(), back.data(), back.size()), 256);
        EXPECT_EQ(back, all);
        EXPECT_TRUE(line.read().empty()) << "nothing is echoed";
    }
}

TEST(PtyLine, LosesWhatNobodyReadsInsteadOfWaiting)
{
    PtyLine line;
    size_t sent = 0;
    for (int i = 0; i < 100; ++i) sent += line.write(Bytes(1000, 0x55));
    EXPECT_GT(sent, 1000U);
    EXPECT_LT(sent, 100000U);
}

TEST(PtyLine, HangsUpWhenUnplugged)
{
    PtyLine line;
    const SerialClient client(line.path(), 9600);
    line.unplug();
    pollfd polled{client.descriptor(), POLLIN, 0};
    ASSERT_EQ(poll(&polled, 1, 5000), 1);
    EXPECT_TRUE(polled.revents & POLLHUP);
    EXPECT_EQ(write(client.descriptor(), "x", 1), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_FALSE(line.isPlugged());
    EXPECT_TRUE(line.read().empty());
    EXPECT_EQ(line.write({1}), 0U);
    EXPECT_EQ(line.bitRate(), 0U);
}

TEST(Rig, RunsTheCameraBehindItsLine)
{
    RigOptions options;
    options.speed = 20;
    Rig rig(options);
    const SerialClient client(rig.cameraPath(), 9600);
    client.say(kAddressSet);
    EXPECT_EQ(client.hear(), "88 30 02 FF");
    client.say(kMove);
    EXPECT_EQ(client.hear(), "90 41 FF");
    EXPECT_EQ(client.hear(), "90 51 FF");

    const CameraState state = rig.cameraState();
    EXPECT_EQ(state.pan, 100);
    EXPECT_EQ(state.tilt, -20);
    EXPECT_FALSE(state.isMoving);
    EXPECT_EQ(state.replies, 3);
    EXPECT_EQ(rig.cameraPackets().size(), 2U);
    EXPECT_THAT(rig.stateJson(), HasSubstr(R"("tilt": -20)"));
}

TEST(Rig, AnswersOnlyAtTheCamerasBitRate)
{
    Rig rig;
    const SerialClient fast(rig.cameraPath(), 38400);
    fast.say(kAddressSet);
    rig.settle();
    EXPECT_TRUE(rig.cameraPackets().empty());
    const SerialClient right(rig.cameraPath(), 9600);
    right.say(kAddressSet);
    EXPECT_EQ(right.hear(), "88 30 02 FF");
}

TEST(Rig, KeepsTheLineForTheNextProgram)
{
    Rig rig;
    for (int run = 0; run < 2; ++run) {
        const SerialClient client(rig.cameraPath(), 9600);
        EXPECT_TRUE(client.makeExclusive());
        client.say(kAddressSet);
        EXPECT_EQ(client.hear(), "88 30 02 FF");
    }
}

TEST(Rig, PullsTheCable)
{
    Rig rig;
    const SerialClient client(rig.cameraPath(), 9600);
    rig.unplugCamera();
    EXPECT_EQ(client.hear(), "hung up");
    EXPECT_FALSE(rig.cameraState().isPlugged);

    RigOptions onMove;
    onMove.faults = Faults{"camera.unplug-on-move=10"};
    Rig other(onMove);
    const SerialClient mover(other.cameraPath(), 9600);
    mover.say(kMove);
    // A hang-up takes along what has not been read yet: the ACK may be seen or not.
    const std::string first = mover.hear();
    if (first == "90 41 FF")
        EXPECT_EQ(mover.hear(), "hung up");
    else
        EXPECT_THAT(first, HasSubstr("hung up"));
    EXPECT_EQ(other.cameraState().moves, 1);
    const auto isPulled = [](const CameraState& state) { return !state.isPlugged; };
    EXPECT_TRUE(other.waitForCamera(isPulled, seconds(5)));
}

TEST(Rig, RunsTheServosBehindTheirLine)
{
    RigOptions options;
    options.speed = 5;
    Rig rig(options);
    const SerialClient client(rig.servosPath(), 57143);
    client.say("FF FF 02 05 03 1E B8 0B 14");  // goal 3000
    EXPECT_EQ(client.hear(), "FF FF 02 02 00 FB");
    const auto isMoving = [](const ServoState& state) { return state.isMoving; };
    const auto isAtRest = [](const ServoState& state) { return !state.isMoving; };
    EXPECT_TRUE(rig.waitForServo(2, isAtRest, seconds(5)));
    EXPECT_FALSE(rig.waitForServo(2, isMoving, quill::milliseconds(1)));

    const ServoState state = rig.servoState(2);
    EXPECT_EQ(state.goal, 3000);
    EXPECT_THAT(state.position, testing::AllOf(testing::Ge(2995), testing::Le(2996)));
    EXPECT_THAT(rig.servoPackets(),
                testing::ElementsAre(Bytes{0xFF, 0xFF, 2, 5, 3, 0x1E, 0xB8, 0x0B, 0x14}));
    EXPECT_THAT(rig.stateJson(), HasSubstr(R"("goal": 3000)"));
    EXPECT_EQ(rig.servoState(7).baudNumber, 16);
    EXPECT_THROW((void)rig.servoState(3), std::out_of_range);

    rig.unplugServos();
    EXPECT_EQ(client.hear(), "hung up");
    EXPECT_FALSE(rig.servoState(1).isPlugged);
    EXPECT_TRUE(rig.cameraState().isPlugged);
}

// A scan walks through the bit rates on one open line.
TEST(Rig, FollowsTheBitRateOfTheServosLine)
{
    ServoSetup slow, fast;
    slow.baudNumber = 207;
    fast.id = 2;
    fast.baudNumber = 0;
    RigOptions options;
    options.servos = {slow, fast};
    const Rig rig(options);
    const SerialClient client(rig.servosPath(), 9600);
    client.say("FF FF 01 02 01 FB");
    EXPECT_EQ(client.hear(), "FF FF 01 02 00 FC");
    const SerialClient next(rig.servosPath(), 2000000);
    next.say("FF FF 02 02 01 FA");
    EXPECT_EQ(next.hear(), "FF FF 02 02 00 FB");
    next.say("FF FF 01 02 01 FB");
    EXPECT_EQ(next.hear(20), "silence");
}

}  // namespace
