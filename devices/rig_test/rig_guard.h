#pragma once

#include "common/interrupt.h"
#include "devices/laser/guarded_laser.h"
#include "test_report.h"

namespace quill::app
{

class Excursion;

/// Sees to it that a test leaves nothing behind, however it ends: owns the laser, which is ordered
/// off when the guard goes, and knows the axis that is away from where it was. An interrupt
/// switches the laser off first, then sends that axis back. What leaves no time for that (SIGKILL,
/// a crash, SIGSTOP) leaves the laser off all the same, see GuardedLaser.
class RigGuard
{
  public:
    /// @param report  outlives the guard; takes what fails
    RigGuard(const DeviceName& laser, TestReport& report);
    ~RigGuard();
    RigGuard(const RigGuard&) = delete;
    RigGuard& operator=(const RigGuard&) = delete;

    TestReport& report() { return m_report; }

    /// Switches the laser on, for as long as it takes to be seen. It goes off with the guard.
    bool showLaser();

    /// @param excursion  null: every axis is back. Not owned.
    void setUnderWay(Excursion* excursion) { m_underWay = excursion; }

  private:
    void switchLaserOff();
    bool failToOrder();
    void cleanUp();

    DeviceName m_laserName;
    GuardedLaser m_laser;
    TestReport& m_report;
    Excursion* m_underWay = nullptr;
    InterruptCleanup m_onInterrupt;
};

}  // namespace quill::app
