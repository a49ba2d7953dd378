#include "rig_guard.h"

#include "axis_motion.h"
#include "common/logging.h"
#include "common/time.h"
#include "devices/laser/tty_laser.h"

namespace quill::app
{
namespace
{

constexpr const char* kCategory = "rig_test";

/// Long enough to be seen, and for the relay, which does not tell when it has switched.
constexpr Duration kLaserShown = milliseconds(500);

/// Whoever ends a test does not wait long: the step is small, and a healthy axis needs less.
constexpr Duration kInterruptedReturnTimeout = seconds(2);

}  // namespace

RigGuard::RigGuard(const DeviceName& laser, TestReport& report)
    : m_laser(laser), m_report(report), m_onInterrupt([this] { cleanUp(); })
{}

RigGuard::~RigGuard()
{
    m_report.watch([this] { switchLaser(false); });
}

bool RigGuard::showLaser()
{
    if (!switchLaser(true)) return false;
    sleep(kLaserShown);
    return true;
}

bool RigGuard::switchLaser(bool on)
{
    m_report.begin(m_laser, on ? "switch on" : "switch off");
    const InterruptDelay wholeOrder;  // the clean-up could not open a line that is open here
    if (TTYLaser(m_laser.path).setState(on)) return true;
    return m_report.fail("its line to take the order", "an error (logged before)");
}

void RigGuard::cleanUp()
{
    m_report.watch([this] { switchLaser(false); });
    if (m_underWay != nullptr)
        m_report.watch([this] { m_underWay->goBack(kInterruptedReturnTimeout); });
    if (m_report.hasFailed()) QUILL_LOG(kWarning, kCategory) << "interrupted; " << m_report.text();
}

}  // namespace quill::app
