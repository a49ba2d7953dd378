#include "test_servo.h"

#include <cstdlib>
#include <optional>
#include <vector>

#include "axis_motion.h"
#include "devices/dynamixel/dxl_codec.h"
#include "devices/dynamixel/dxl_device.h"
#include "devices/rig_test/ptz_system_tester.h"

namespace quill::app
{
namespace
{

namespace reg = quill::dynamixel;

constexpr int kStepUnits = 50;
/// Friction ends a move some units short of its goal.
constexpr int kToleranceUnits = 12;
constexpr Duration kMoveTimeout = seconds(3);
/// Of the register that says whether it moves, when it stands at its goal.
constexpr Duration kMovingTimeout = seconds(1);
constexpr Duration kPollInterval = milliseconds(100);

/// Both angle limits: the servo counts turns and knows no end.
constexpr int kMultiTurn = 4095;

/// Of a write: one that is lost in noise goes unnoticed until the register is read back.
constexpr int kAttempts = 3;

/// @param tenths  units of 0.1 V
std::string voltText(int tenths)
{
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " V";
}

class ServoAxis final : public Axis
{
  public:
    ServoAxis(const DeviceName& device, DxlDevice& bus, int id)
        : Axis({device, "", "units", kToleranceUnits, kMoveTimeout}), m_bus(bus), m_id(id)
    {}

    /// @return -1 when it does not answer
    int readByte(int address) { return m_bus.dxl_read_byte(m_id, address); }
    int readWord(int address) { return m_bus.dxl_read_word(m_id, address); }

    /// A goal switches torque on. @param hadTorque  the value of the register before
    void setTorqueBefore(bool hadTorque) { m_hadTorque = hadTorque; }

    Answer order(int goal, Duration) override
    {
        return write([&] { return m_bus.dxl_write_word(m_id, reg::kGoalPosition, goal) != 0; },
                     [&] { return readWord(reg::kGoalPosition); }, goal);
    }

    std::optional<int> position() override
    {
        const int position = readWord(reg::kPresentPosition);
        return position < 0 ? std::nullopt : std::make_optional(position);
    }

    bool isLost() const override { return m_bus.isLineLost(); }

    void release(TestReport& report) override
    {
        if (m_hadTorque) return;
        report.begin(traits().device, "switch torque off again");
        const Answer answer =
            write([&] { return m_bus.dxl_write_byte(m_id, reg::kTorqueEnable, 0) != 0; },
                  [&] { return readByte(reg::kTorqueEnable); }, 0);
        if (answer != Answer::Taken)
            report.fail("torque off", answer == Answer::None ? "no answer" : "torque on");
    }

  private:
    template <typename Write, typename Read>
    Answer write(const Write& send, const Read& readBack, int value)
    {
        int found = -1;
        for (int attempt = 0; attempt < kAttempts && !isLost(); ++attempt) {
            const bool isAccepted = send();
            found = readBack();
            if (found == value) return Answer::Taken;
            if (!isAccepted) break;
        }
        return found < 0 ? Answer::None : Answer::Refused;
    }

    DxlDevice& m_bus;
    int m_id;
    bool m_hadTorque = true;
};

bool failToHear(TestReport& report)
{
    return report.fail("an answer", "none");
}

bool testId(ServoAxis& servo, int id, TestReport& report)
{
    report.begin(servo.traits().device, "read its ID");
    const int found = servo.readByte(reg::kId);
    return found == id ||
           report.fail(std::to_string(id), found < 0 ? "no answer" : std::to_string(found));
}

bool testVoltage(ServoAxis& servo, TestReport& report)
{
    report.begin(servo.traits().device, "read voltage");
    const int lowest = servo.readByte(reg::kLowestVoltage);
    const int highest = servo.readByte(reg::kHighestVoltage);
    const int present = servo.readByte(reg::kPresentVoltage);
    if (lowest < 0 || highest < 0 || present < 0) return failToHear(report);
    return (present >= lowest && present <= highest) ||
           report.fail(voltText(lowest) + " to " + voltText(highest), voltText(present));
}

bool testTemperature(ServoAxis& servo, TestReport& report)
{
    report.begin(servo.traits().device, "read temperature");
    const int highest = servo.readByte(reg::kHighestTemperature);
    const int present = servo.readByte(reg::kPresentTemperature);
    if (highest < 0 || present < 0) return failToHear(report);
    return present <= highest || report.fail("at most " + std::to_string(highest) + " degrees",
                                             std::to_string(present) + " degrees");
}

struct AngleLimits
{
    int lowest;   ///< clockwise
    int highest;  ///< counter-clockwise
};

std::optional<AngleLimits> readAngleLimits(ServoAxis& servo, TestReport& report)
{
    report.begin(servo.traits().device, "read angle limits");
    const AngleLimits limits = {servo.readWord(reg::kCwAngleLimit),
                                servo.readWord(reg::kCcwAngleLimit)};
    if (limits.lowest < 0 || limits.highest < 0)
        failToHear(report);
    else if (limits.lowest == 0 && limits.highest == 0)
        report.fail("a joint", "wheel mode, both limits 0: it is not moved");
    else if (limits.lowest == kMultiTurn && limits.highest == kMultiTurn)
        report.fail("a joint", "multi-turn mode, both limits 4095: it is not moved");
    else
        return limits;
    return std::nullopt;
}

/// Where the servo is to be in the end: at the goal it was given, if that is where it is. Sent to
/// its position instead, it would be some units of friction further off after each test.
std::optional<int> findHome(ServoAxis& servo, TestReport& report)
{
    const auto position = awaitRest(servo, report);
    if (!position) return std::nullopt;
    report.begin(servo.traits().device, "read torque and goal");
    const int torque = servo.readByte(reg::kTorqueEnable);
    const int goal = servo.readWord(reg::kGoalPosition);
    if (torque < 0 || goal < 0) {
        failToHear(report);
        return std::nullopt;
    }
    servo.setTorqueBefore(torque != 0);
    const bool isAtGoal = std::abs(goal - *position) <= kToleranceUnits;
    return isAtGoal ? goal : *position;
}

/// @return a goal one step beside home that the limits allow; nothing, reported, if none is
std::optional<int> chooseGoal(const ServoAxis& servo, AngleLimits limits, int home,
                              TestReport& report)
{
    report.begin(servo.traits().device, "find a step of " + std::to_string(kStepUnits) + " units");
    const auto isInReach = [&](int goal) {
        return goal >= limits.lowest && goal <= limits.highest;
    };
    if (isInReach(home))
        for (const int goal : {home + kStepUnits, home - kStepUnits})
            if (isInReach(goal)) return goal;
    report.fail("room within the angle limits " + std::to_string(limits.lowest) + " to " +
                    std::to_string(limits.highest),
                "position " + std::to_string(home));
    return std::nullopt;
}

/// What waits for a servo's end of motion would wait for ever.
bool testThatItStands(ServoAxis& servo, TestReport& report)
{
    report.begin(servo.traits().device, "read that it moves no more");
    const Time deadline = Time::now() + kMovingTimeout;
    for (;;) {
        const int moving = servo.readByte(reg::kMoving);
        if (moving == 0) return true;
        if (moving < 0) return failToHear(report);
        if (Time::now() >= deadline) break;
        sleep(kPollInterval);
    }
    return report.fail("0 within 1 s at its goal", "1, as if it moved");
}

bool testMove(ServoAxis& servo, RigGuard& guard)
{
    const auto limits = readAngleLimits(servo, guard.report());
    if (!limits) return false;
    const auto home = findHome(servo, guard.report());
    if (!home) return false;
    const auto goal = chooseGoal(servo, *limits, *home, guard.report());
    return goal && moveThereAndBack(servo, *home, {*goal}, guard) &&
           testThatItStands(servo, guard.report());
}

}  // namespace

bool testServo(const DeviceName& device, int id, RigGuard& guard)
{
    TestReport& report = guard.report();
    report.begin(device, "open its bus");
    DxlDevice bus;
    if (bus.dxl_initialize(device.path, PTZSystemTester::kServoBaudNumber) == 0)
        return report.fail("a free serial line", "an error (logged before)");
    ServoAxis servo(device, bus, id);
    return testId(servo, id, report) && testVoltage(servo, report) &&
           testTemperature(servo, report) && testMove(servo, guard);
}

}  // namespace quill::app
