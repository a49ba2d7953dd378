#include "rig_guard.h"

#include "axis_motion.h"
#include "common/logging.h"
#include "common/time.h"

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
    : m_laserName(laser),
      m_laser(laser.path),
      m_report(report),
      m_onInterrupt([this] { cleanUp(); })
{}

RigGuard::~RigGuard()
{
    m_report.watch([this] { switchLaserOff(); });
}

bool RigGuard::showLaser()
{
    m_report.begin(m_laserName, "switch on");
    {
        const InterruptDelay wholeOrder;
        if (!m_laser.switchOn()) return failToOrder();
    }
    sleep(kLaserShown);
    return true;
}

void RigGuard::switchLaserOff()
{
    const InterruptDelay wholeOrder;
    const bool isOff = m_laser.switchOff();
    // Only now: a log whose reader stalls must not keep the laser on.
    m_report.begin(m_laserName, "switch off");
    if (!isOff) failToOrder();
}

bool RigGuard::failToOrder()
{
    return m_report.fail("its line to take the order", "an error (logged before)");
}

void RigGuard::cleanUp()
{
    m_report.watch([this] { switchLaserOff(); });
    if (m_underWay != nullptr)
        m_report.watch([this] { m_underWay->goBack(kInterruptedReturnTimeout); });
    if (m_report.hasFailed()) QUILL_LOG(kWarning, kCategory) << "interrupted; " << m_report.text();
}

}  // namespace quill::app
