#include "devices/laser/guarded_laser.h"

#include "devices/laser/tty_laser.h"
#include "devices/serial/line_guard.h"
#include "devices/serial/serial_port.h"
#include "laser_orders.h"

namespace quill
{

struct GuardedLaser::Lit
{
    explicit Lit(const std::string& device) : guard(line, device, laser::kBitRate, "laser-guard") {}

    SerialPort line;
    LineGuard guard;
};

GuardedLaser::GuardedLaser(const std::string& device) : m_device(device) {}
GuardedLaser::~GuardedLaser() = default;

bool GuardedLaser::switchOn()
{
    m_lit = std::make_unique<Lit>(m_device);
    if (const auto error = m_lit->line.open(m_device, laser::kBitRate)) {
        m_lit.reset();
        return laser::report(true, error);
    }
    const auto error = m_lit->guard.start({laser::order(true), laser::order(false)});
    if (!m_lit->guard.isRunning()) m_lit.reset();
    return laser::report(true, error);
}

bool GuardedLaser::switchOff()
{
    if (!m_lit) return TTYLaser(m_device).setState(false);
    const auto error = m_lit->guard.finish();
    m_lit.reset();
    return laser::report(false, error);
}

}  // namespace quill
