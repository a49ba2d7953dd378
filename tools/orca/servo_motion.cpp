#include <array>
#include <cmath>
#include <cstdlib>
#include <optional>

#include "common/interrupt.h"
#include "common/time.h"
#include "devices/dynamixel/dxl_codec.h"
#include "hold_servos.h"
#include "log.h"
#include "servo_bus.h"
#include "settings.h"
#include "tools/orca/hardware_driver.h"

namespace reg = quill::dynamixel;

using quill::Duration;
using quill::seconds;
using quill::Time;

namespace
{

/// Positioning ends when a servo has not answered for this long, ...
constexpr Duration kMaxSilence = seconds(3);
/// ... or when the servos say that they move and their positions have not changed for this long.
constexpr Duration kMaxStandstill = seconds(10);

constexpr Duration kSwingTimeout = seconds(3);
constexpr Duration kReportInterval = seconds(20);

/// What one poll of the positioning has read; -1 for what was not answered.
struct Poll
{
    std::array<int, 2> position{};
    std::array<int, 2> moving{};
};

Poll pollServos(DxlDevice* bus, const char* function)
{
    constexpr std::array<int, 2> ids = {kPanServoId, kTiltServoId};
    Poll poll;
    for (size_t i = 0; i < 2; ++i)
        poll.position[i] = bus->dxl_read_word(ids[i], reg::kPresentPosition);
    QUILL_LOGF_FROM(function, kResult, kLogCategory, "dxl at %d,%d", poll.position[0],
                    poll.position[1]);
    for (size_t i = 0; i < 2; ++i) poll.moving[i] = bus->dxl_read_byte(ids[i], reg::kMoving);
    return poll;
}

/// Decides from poll to poll when the positioning must end although the servos have not stopped.
class PositioningWatch
{
  public:
    /// @return why it must end, or an empty text
    std::string reasonToEnd(const Poll& poll, const DxlDevice& bus)
    {
        const Time now = Time::now();
        if (bus.isLineLost()) return "the servo bus is lost";
        for (size_t i = 0; i < 2; ++i)
            if (poll.position[i] >= 0 || poll.moving[i] >= 0) m_answered[i] = now;
        if (now >= m_answered[0] + kMaxSilence) return "servo ID 1 (pan) does not answer";
        if (now >= m_answered[1] + kMaxSilence) return "servo ID 2 (tilt) does not answer";

        if (poll.position != m_position) m_changed = now;
        m_position = poll.position;
        if (now >= m_changed + kMaxStandstill)
            return "the servos say that they move, but have stood still for 10 s";
        return {};
    }

  private:
    std::array<Time, 2> m_answered = {Time::now(), Time::now()};
    Time m_changed = Time::now();
    std::array<int, 2> m_position = {-1, -1};
};

/// Swings both axes between their two positions until the time is over.
class MotorTest
{
  public:
    MotorTest(PanTiltServos servos, int duration_s, const char* function)
        : m_servos(std::move(servos)),
          m_duration_s(duration_s),
          m_length(std::lround(duration_s * 1e9)),
          m_function(function)
    {}

    /// @return the message of the first check that failed, one axis may still swing then; null when
    /// the test has passed
    const char* run(int x0, int x1, int y0, int y1)
    {
        const Time start = Time::now();
        Time lastReport;
        while (Time::now() - start < m_length) {
            const Time now = Time::now();
            if (now - lastReport > kReportInterval) {
                QUILL_LOG_FROM(m_function, kResult, kLogCategory)
                    << "Running for " << (now - start).seconds() << " out of " << m_duration_s
                    << " seconds";
                lastReport = now;
            }
            if (const char* failure = swingTo(x0, y0)) return failure;
            if (const char* failure = swingTo(x1, y1)) return failure;
            if (const char* failure = checkIds()) return failure;
        }
        return nullptr;
    }

    void hold() const { holdServos(m_servos); }

  private:
    const char* swingTo(int pan, int tilt)
    {
        m_servos.pan->setGoalPosition(pan);
        m_servos.tilt->setGoalPosition(tilt);
        if (!m_servos.pan->waitNotMoving(kSwingTimeout))
            return "Timeout while waiting for pan motor";
        if (!m_servos.tilt->waitNotMoving(kSwingTimeout))
            return "Timeout while waiting for tilt motor";
        return nullptr;
    }

    const char* checkIds()
    {
        if (m_servos.pan->getRealID() != m_servos.pan->getID())
            return "Error reading ID from pan motor";
        if (m_servos.tilt->getRealID() != m_servos.tilt->getID())
            return "Error reading ID from tilt motor";
        return nullptr;
    }

    PanTiltServos m_servos;
    int m_duration_s;
    Duration m_length;
    const char* m_function;  ///< that the test is logged for
    quill::InterruptCleanup m_hold{[this] { holdServos(m_servos); }};
};

}  // namespace

void HardwareDriver::setDynamixelPanTilt(int pan, int tilt)
{
    DxlDevice bus;
    if (!openRegisters(&bus, devicePath, p_dxl_baudnum(), __PRETTY_FUNCTION__)) return;
    const quill::InterruptCleanup hold([&bus] { holdServos(&bus); });
    bus.dxl_write_word(kPanServoId, reg::kGoalPosition, pan);
    bus.dxl_write_word(kTiltServoId, reg::kGoalPosition, tilt);
    PositioningWatch watch;
    for (;;) {
        const Poll poll = pollServos(&bus, __PRETTY_FUNCTION__);
        if ((poll.moving[0] | poll.moving[1]) == 0) return;
        const std::string reason = watch.reasonToEnd(poll, bus);
        if (reason.empty()) continue;
        QUILL_LOGF(kFailure, kLogCategory, "Not waiting for the servos any longer: %s.",
                   reason.c_str());
        return;
    }
}

void HardwareDriver::testMotors(int x0, int x1, int y0, int y1, int duration_s)
{
    const char* const function = __PRETTY_FUNCTION__;
    std::optional<MotorTest> test(std::in_place, openServos(devicePath, function), duration_s,
                                  function);
    const char* failure = test->run(x0, x1, y0, y1);
    if (failure == nullptr) {
        test.reset();
        QUILL_LOG(kResult, kLogCategory) << "==== Motor test finished successfully. ====";
        return;
    }
    QUILL_LOG(kFailure, kLogCategory) << failure;
    test->hold();
    test.reset();  // closes the line, before the process ends
    std::exit(1);
}
