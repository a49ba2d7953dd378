#include "tools/rigsim/rig.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/capability.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <optional>
#include <thread>

#include "tests/rigsim/serial_client.h"
#include "tools/rigsim/pty_line.h"

namespace
{

using namespace rigsim;

TEST(PtyLine, CarriesEveryByteBothWaysAndAnyBitRate)
{
    PtyLine line;
    Bytes bytes(256);
    for (size_t i = 0; i < 256; ++i) bytes[i] = static_cast<uint8_t>(i);
    for (const unsigned bitRate : {57143U, 2000000U}) {
        line.heedClosings();
        const SerialClient client(line.path(), bitRate);
        EXPECT_EQ(line.bitRate(), bitRate);
        ASSERT_EQ(write(client.descriptor(), bytes.data(), 256), 256);
        EXPECT_EQ(line.read(), bytes);
        EXPECT_EQ(line.write(bytes), 256U);
        Bytes back(256);
        EXPECT_EQ(read(client.descriptor(), back.data(), 256), 256);
        EXPECT_EQ(back, bytes);
        EXPECT_TRUE(line.read().empty()) << "nothing is echoed";
    }
    EXPECT_LT(line.write(Bytes(100000, 0x55)), 100000U) << "what nobody reads is lost";
}

/// As for anybody but root, whom TIOCEXCL does not keep out: only for the thread that calls.
void dropPrivileges()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    ASSERT_EQ(syscall(SYS_capset, &header, none), 0);
}

TEST(PtyLine, IsLockedUntilTheLastProgramHasClosedIt)
{
    std::thread([] {
        dropPrivileges();
        PtyLine line;
        const auto canOpen = [&] {
            const int descriptor = open(line.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
            if (descriptor >= 0) close(descriptor);
            return descriptor >= 0;
        };
        const int before = open(line.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        std::optional<SerialClient> client(std::in_place, line.path(), 9600);
        client->say("88 30 01 FF");
        EXPECT_EQ(line.read().size(), 4U);
        line.heedClosings();
        EXPECT_FALSE(canOpen()) << "after bytes";
        close(before);
        line.heedClosings();
        EXPECT_FALSE(canOpen()) << "after another one's closing";
        pollfd polled{line.closingsDescriptor(), POLLIN, 0};
        EXPECT_EQ(poll(&polled, 1, 0), 0) << "nobody has closed it since";
        client.reset();
        EXPECT_EQ(poll(&polled, 1, 0), 1);
        line.heedClosings();
        EXPECT_TRUE(canOpen()) << "after the last closing";
    }).join();
}

TEST(Rig, RunsTheCameraForOneProgramAfterTheOther)
{
    RigOptions options;
    options.speed = 20;
    Rig rig(options);
    std::optional<SerialClient> client;
    client.emplace(rig.cameraPath(), 38400);
    client->say("88 30 01 FF");
    rig.settle();
    EXPECT_TRUE(rig.cameraPackets().empty()) << "wrong bit rate";
    client.emplace(rig.cameraPath(), 9600);
    client->say("81 01 06 02 14 14 00 00 06 04 0F 0F 0E 0C FF");
    EXPECT_EQ(client->hear(), "90 41 FF");
    EXPECT_EQ(client->hear(), "90 51 FF");
    EXPECT_EQ(rig.cameraState().pan, 100);
    EXPECT_FALSE(rig.cameraState().isMoving);
    EXPECT_THAT(rig.stateJson(), testing::HasSubstr(R"("tilt": -20)"));
}

/// @return how many of the bytes the line has taken when it took no more for `patience`
size_t flood(const SerialClient& client, const Bytes& bytes, int patienceMs)
{
    size_t taken = 0;
    pollfd line{client.descriptor(), POLLOUT, 0};
    while (taken < bytes.size() && ::poll(&line, 1, patienceMs) > 0) {
        const ssize_t count =
            ::write(client.descriptor(), bytes.data() + taken, bytes.size() - taken);
        if (count > 0) taken += static_cast<size_t>(count);
    }
    return taken;
}

// What a program sends faster than the line carries it waits with the program, not in the rig.
TEST(Rig, TakesNoMoreThanALineCarriesAndKeepsTheLatest)
{
    for (const double speed : {1.0, 1000.0}) {
        Rig rig({{}, speed});
        const struct
        {
            const std::string& path;
            unsigned bitRate;
            Bytes request;
        } lines[] = {{rig.cameraPath(), 9600, {0x81, 0x09, 0x06, 0x12, 0xFF}},
                     {rig.servosPath(), 57143, {0xFF, 0xFF, 0x01, 0x02, 0x01, 0xFB}},
                     {rig.laserPath(), 9600, {0xA0, 0x01, 0x00, 0xA1}}};
        for (const auto& line : lines) {
            Bytes bytes;
            for (int i = 0; i < 50000; ++i)
                bytes.insert(bytes.end(), line.request.begin(), line.request.end());
            const SerialClient client(line.path, line.bitRate);
            if (speed == 1)
                EXPECT_LT(flood(client, bytes, 50), 100000U);
            else
                EXPECT_EQ(flood(client, bytes, 30000), bytes.size());
        }
        if (speed == 1) continue;
        const auto hasAll = [](const auto& state) { return state.packets == 50000; };
        EXPECT_TRUE(rig.waitForCamera(hasAll, quill::seconds(30)));
        EXPECT_TRUE(rig.waitForLaser(hasAll, quill::seconds(30)));
        EXPECT_EQ(rig.cameraPackets().size(), 1000U);
        EXPECT_EQ(rig.servoPackets().size(), 1000U);
        EXPECT_EQ(rig.laserPackets().size(), 1000U);
    }
}

TEST(Rig, RunsTheServosAndPullsTheirCable)
{
    RigOptions options;
    options.speed = 5;
    Rig rig(options);
    std::optional<SerialClient> client;
    client.emplace(rig.servosPath(), 117647);
    client->say("FF FF 07 02 01 F5");
    EXPECT_EQ(client->hear(), "FF FF 07 02 00 F6");
    client.emplace(rig.servosPath(), 57143);
    client->say("FF FF 02 05 03 1E B8 0B 14");  // goal 3000
    EXPECT_EQ(client->hear(), "FF FF 02 02 00 FB");
    const auto isAtRest = [](const ServoState& state) { return !state.isMoving; };
    EXPECT_TRUE(rig.waitForServo(2, isAtRest, quill::seconds(5)));
    EXPECT_NEAR(rig.servoState(2).position, 2995.5, 0.5);
    EXPECT_EQ(rig.servoPackets().size(), 2U);

    rig.unplugServos();
    EXPECT_EQ(client->hear(), " hung up");
    EXPECT_LT(open(rig.servosPath().c_str(), O_RDWR), 0) << "nobody else's terminal in its place";
    EXPECT_TRUE(rig.cameraState().isPlugged);
}

TEST(Rig, RunsTheLaserWhichIsOffWithoutItsCable)
{
    Rig rig;
    const SerialClient client(rig.laserPath(), 9600);
    client.say("A0 01 01 A2");
    const auto isOn = [](const LaserState& state) { return state.isOn; };
    EXPECT_TRUE(rig.waitForLaser(isOn, quill::seconds(5)));
    EXPECT_EQ(rig.laserPackets(), std::vector<Bytes>{Bytes({0xA0, 1, 1, 0xA2})});

    rig.unplugLaser();
    EXPECT_EQ(client.hear(), " hung up");
    EXPECT_FALSE(rig.laserState().isOn);
    EXPECT_THAT(rig.stateJson(), testing::HasSubstr(R"("switchedOn": 1)"));
}

}  // namespace
