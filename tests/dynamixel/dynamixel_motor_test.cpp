#include <gmock/gmock.h>

#include <future>

#include "devices/dynamixel/dynamixel_interface.h"
#include "dynamixel/scripted_line.h"
#include "support/log_capture.h"

namespace quill
{
namespace
{

using support::Answer;
using support::Bytes;
using support::line;
using support::LogCapture;

Answer answer(int id, const Bytes& data)
{
    return {{encode(dynamixel::StatusPacket{static_cast<uint8_t>(id), 0, data})}};
}

TEST(DynamixelMotor, ReadsAndWritesTheRegistersOfItsServo)
{
    const auto lock = std::make_shared<RecursiveMutex>();
    const auto isFree = [&] {
        return std::async(std::launch::async,
                          [&] {
                              const bool free = lock->try_lock();
                              if (free) lock->unlock();
                              return free;
                          })
            .get();
    };
    line() = {{answer(2, {}), answer(2, {0x34, 0x12}), answer(2, {7}), answer(2, {0x0A, 0x00}),
               answer(2, {0xFF, 0x0F})}};
    line().onRequest = [&] { EXPECT_FALSE(isFree()); };
    auto bus = DynamixelInterface::open("/dev/servos", 34, lock);
    const auto motor = bus->getMotor(2);
    bus.reset();  // the motor keeps the bus open
    EXPECT_TRUE(motor->setGoalPosition(0x1234));
    EXPECT_EQ(motor->getPresentPosition(), 0x1234);
    EXPECT_EQ(motor->getRealID(), 7);
    EXPECT_EQ(motor->getID(), 2);
    EXPECT_EQ(motor->getCWAngleLimit(), 10);
    EXPECT_EQ(motor->getCCWAngleLimit(), 4095);
    EXPECT_TRUE(isFree());

    const LogCapture log;
    EXPECT_EQ(motor->getPresentPosition(), -1);
    EXPECT_EQ(motor->getRealID(), -1);
}

TEST(DynamixelMotor, WaitsUntilTheServoHasStopped)
{
    const Answer moving = answer(1, {1});
    const Answer still = answer(1, {0});
    const struct
    {
        const char* what;
        std::vector<Answer> script;
        Answer usual;
        Duration timeout;
        bool stopped;
        int takesMs;  // an exchange takes 1 ms, an unanswered one at 57143 bit/s 7 ms
    } cases[] = {
        {"at its goal already", {}, still, seconds(3), true, 12},
        {"started after a look", {still, moving, moving}, still, seconds(3), true, 45},
        {"no time left", {}, still, Duration(), true, 12},
        {"moving for ever", {}, moving, milliseconds(3000), false, 3004},
        {"silent", {}, {}, milliseconds(100), false, 110},
        {"unplugged", {moving, {support::kUnplugged}}, still, seconds(3), false, 12},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        line() = {c.script, c.usual};
        const auto motor = DynamixelInterface::open("/dev/servos", 34, nullptr)->getMotor(1);
        const LogCapture log;
        const Time start = Time::now();
        EXPECT_EQ(motor->waitNotMoving(c.timeout), c.stopped);
        EXPECT_NEAR((Time::now() - start).seconds(), c.takesMs / 1e3, 0.01);
    }
}

TEST(DynamixelInterface, ThrowsDeviceCauseAndRemedy)
{
    EXPECT_THAT([] { (void)DynamixelInterface::open("/dev/ttyMissing", 34, nullptr); },
                testing::ThrowsMessage<DynamixelError>(
                    "/dev/ttyMissing: open: No such file or directory (is it plugged in?)"));
}

}  // namespace
}  // namespace quill
