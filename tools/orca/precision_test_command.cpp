#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>

#include "common/basic_stats.h"
#include "common/interrupt.h"
#include "common/time.h"
#include "hold_servos.h"
#include "log.h"
#include "servo_bus.h"
#include "settings.h"
#include "tools/orca/hardware_driver.h"

using quill::BasicStats;
using quill::Duration;
using quill::DynamixelMotor;

namespace
{

constexpr Duration kWaitTimeout = quill::seconds(5);
constexpr Duration kSettlingPause = quill::milliseconds(500);

constexpr int kCentre = 2048;
constexpr int kEdge = 10;          ///< targets keep this far from the angle limits
constexpr int kSmallStep = 30;     ///< small steps are -30..29
constexpr int kLastMargin2 = 999;  ///< above it there is no second stage

struct Limits
{
    int cw;
    int ccw;

    bool contain(int target) const { return cw <= target && target <= ccw; }
    int64_t freeDrawWidth() const { return int64_t{ccw} - cw - 2 * kEdge; }
};

/// @return false, reported: a limit is not known, or no target can be drawn between them
bool admitTargets(const Limits& limits, const char* function)
{
    if (limits.cw >= 0 && limits.ccw >= 0 && limits.freeDrawWidth() > 0) return true;
    QUILL_LOGF_FROM(function, kFailure, kLogCategory,
                    "No precision test: the limits of servo ID 2 (tilt) are CW %d and CCW %d "
                    "(-1: no answer), they must be more than %d apart.",
                    limits.cw, limits.ccw, 2 * kEdge);
    return false;
}

Limits readLimits(const DynamixelMotor& motor)
{
    const int cw = motor.getCWAngleLimit();
    return {cw, motor.getCCWAngleLimit()};
}

/// Draws the targets. random() is never seeded, so that every run draws the same ones.
int drawTarget(const Limits& limits, int previous)
{
    const int lowest = limits.cw + kEdge;
    const int highest = limits.ccw - kEdge;
    if (::random() % 2 != 0) return static_cast<int>(lowest + ::random() % limits.freeDrawWidth());
    const int candidate = previous + static_cast<int>(::random() % (2 * kSmallStep)) - kSmallStep;
    return candidate > highest ? highest : std::max(candidate, lowest);
}

/// A goal that leaves the range of int stays outside every servo's range, where it is refused.
int offsetGoal(int target, int margin)
{
    using Int = std::numeric_limits<int>;
    return static_cast<int>(std::clamp<int64_t>(int64_t{target} + margin, Int::min(), Int::max()));
}

/// One servo under test and the errors it has shown.
class TestedServo
{
  public:
    TestedServo(int number, std::shared_ptr<DynamixelMotor> motor)
        : m_number(number), m_motor(std::move(motor))
    {}

    DynamixelMotor& motor() const { return *m_motor; }
    const Limits& limits() const { return m_limits; }
    void takeLimits() { m_limits = readLimits(*m_motor); }

    /// Counts and prints the error of a trial, if the servo could reach the target at all.
    void addSample(int target, int step, int position)
    {
        if (!m_limits.contain(target)) return;
        const int error = target - position;
        m_byDirection[step > 0 ? 1 : 0].add(error);
        std::printf("%d %d %d\n", m_number, step, error);
        m_all.add(error);
    }

    void printAverage() const
    {
        std::printf("Average error m%d: %f std: %f\n", m_number, m_all.getMean(),
                    m_all.getStdDev());
    }

    void logDirection(size_t direction, const char* function) const
    {
        const BasicStats& stats = m_byDirection[direction];
        QUILL_LOG_FROM(function, kResult, kLogCategory)
            << "m" << m_number << stats.getMean() << " " << stats.getStdDev();
    }

  private:
    int m_number;
    std::shared_ptr<DynamixelMotor> m_motor;
    Limits m_limits{};
    BasicStats m_all;
    BasicStats m_byDirection[2];  ///< steps down and none, steps up
};

class PrecisionTest
{
  public:
    PrecisionTest(const PanTiltServos& servos, const char* function)
        : m_function(function), m_servos(servos), m_servo1(1, servos.pan), m_servo2(2, servos.tilt)
    {}

    bool isBusLost() const { return m_servos.bus->isLineLost(); }

    /// @return the limits that the targets are drawn from
    const Limits& start()
    {
        m_hold.emplace([this] { holdServos(m_servos); });
        command(kCentre);
        m_servo1.takeLimits();
        m_servo2.takeLimits();
        return m_servo2.limits();
    }

    void runTrial()
    {
        const int target = drawTarget(m_servo2.limits(), m_previous);
        const int step = target - m_previous;
        moveTo(offsetGoal(target, step >= 0 ? p_margin1pos() : p_margin1neg()));
        traceFirstStage(target);
        if (p_margin2() <= kLastMargin2) moveTo(offsetGoal(target, p_margin2()));
        if (isBusLost()) return;
        quill::sleep(kSettlingPause);
        const int position1 = m_servo1.motor().getPresentPosition();
        const int position2 = m_servo2.motor().getPresentPosition();
        if (isBusLost()) return;
        m_servo1.addSample(target, step, position1);
        m_servo2.addSample(target, step, position2);
        m_previous = target;
    }

    void summarise() const
    {
        m_servo1.printAverage();
        m_servo2.printAverage();
        for (size_t direction = 0; direction < 2; ++direction) {
            m_servo1.logDirection(direction, m_function);
            m_servo2.logDirection(direction, m_function);
        }
    }

  private:
    void command(int goal)
    {
        m_servo1.motor().setGoalPosition(goal);
        m_servo2.motor().setGoalPosition(goal);
    }

    void moveTo(int goal)
    {
        command(goal);
        // A servo that has not stopped is measured where it is: the error shows it.
        (void)m_servo1.motor().waitNotMoving(kWaitTimeout);
        (void)m_servo2.motor().waitNotMoving(kWaitTimeout);
    }

    void traceFirstStage(int target)
    {
        if (!quill::isLoggerEnabled(kTrace, kLogCategory)) return;
        const int position2 = m_servo2.motor().getPresentPosition();
        const int position1 = m_servo1.motor().getPresentPosition();
        QUILL_LOGF_FROM(m_function, kTrace, kLogCategory, "%d %d goal %d", position1, position2,
                        target);
    }

    const char* m_function;  ///< that the test is logged for
    PanTiltServos m_servos;
    TestedServo m_servo1;
    TestedServo m_servo2;
    int m_previous = kCentre;
    std::optional<quill::InterruptCleanup> m_hold;  ///< once they have been told to move
};

}  // namespace

void HardwareDriver::dynamixelPrecisionTest(int n)
{
    const char* const function = __PRETTY_FUNCTION__;
    PrecisionTest test(openServos(devicePath, function), function);
    const Limits& limits = test.start();
    const auto isBusLost = [&](int trials) {
        if (!test.isBusLost()) return false;
        QUILL_LOGF_FROM(function, kFailure, kLogCategory,
                        "Lost the servo bus at %s: the precision test ends after %d of %d trials.",
                        devicePath.c_str(), trials, n);
        return true;
    };
    if (n >= 1 && (isBusLost(0) || !admitTargets(limits, function))) return;
    for (int trial = 0; trial < n; ++trial) {
        test.runTrial();
        std::fflush(stdout);  // a long test is watched, and may be cut short
        if (isBusLost(trial)) return;
    }
    test.summarise();
}
