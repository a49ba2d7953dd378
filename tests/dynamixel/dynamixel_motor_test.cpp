#include <gtest/gtest.h>

#include <future>
#include <tuple>

#include "devices/dynamixel/dxl_codec.h"
#include "devices/dynamixel/dynamixel_interface.h"
#include "support/fake_clock.h"
#include "support/log_capture.h"
#include "support/scripted_line.h"

namespace quill
{
namespace
{

using support::Answer;
using support::line;

Answer answer(int id, const support::Bytes& data)
{
    return {{encode(dynamixel::StatusPacket{static_cast<uint8_t>(id), 0, data})}};
}

TEST(DynamixelMotor, ReadsAndWritesTheRegistersOfItsServo)
{
    const auto lock = std::make_shared<RecursiveMutex>();
    const auto isFree = [&] { return lock->try_lock(); };
    line() = {{answer(2, {}), answer(2, {0x34, 0x12}), answer(2, {7})}};
    line().onRequest = [&] { EXPECT_FALSE(std::async(std::launch::async, isFree).get()); };
    auto bus = DynamixelInterface::open("/dev/servos", 34, lock);
    const auto motor = bus->getMotor(2);
    bus.reset();  // the motor keeps the bus open
    EXPECT_TRUE(motor->setGoalPosition(0x1234));
    EXPECT_EQ(motor->getPresentPosition(), 0x1234);
    EXPECT_EQ(motor->getRealID(), 7);
}

TEST(DynamixelMotor, WaitsUntilTheServoHasStopped)
{
    const Answer moving = answer(1, {1});
    const Answer still = answer(1, {0});
    // An exchange takes 1 ms, an unanswered one at 57143 bit/s 7 ms.
    const std::tuple<const char*, std::vector<Answer>, Answer, Duration, bool, int> cases[] = {
        {"at its goal already", {}, still, seconds(3), true, 12},
        {"started after a look", {still, moving, moving}, still, seconds(3), true, 45},
        {"moving for ever", {}, moving, milliseconds(3000), false, 3004},
        {"silent", {}, {}, milliseconds(100), false, 110},
        {"unplugged", {moving, {support::kUnplugged}}, still, seconds(3), false, 12},
    };
    for (const auto& [what, script, usual, timeout, stopped, takesMs] : cases) {
        support::advanceClock(seconds(1));  // whatever the line before owed
        line() = {script, usual};
        const auto motor = DynamixelInterface::open("/dev/servos", 34, nullptr)->getMotor(1);
        const support::LogCapture log;
        const Time start = Time::now();
        EXPECT_EQ(motor->waitNotMoving(timeout), stopped) << what;
        EXPECT_NEAR((Time::now() - start).seconds(), takesMs / 1e3, 0.01) << what;
    }
}

}  // namespace
}  // namespace quill
