#include "devices/laser/tty_laser.h"

#include "devices/serial/device_line.h"
#include "laser_orders.h"

namespace quill
{
namespace
{

/// The four bytes take 4 ms on the line.
constexpr Duration kTimeout = seconds(1);

std::optional<Error> send(const std::string& device, bool on)
{
    const auto order = laser::order(on);
    DeviceLine line;
    const Time deadline = line.deadlineIn(kTimeout);
    auto error = line.open(device, laser::kBitRate);
    if (!error) error = line.write(order.data(), order.size(), deadline);
    if (!error) error = line.drain(deadline);
    return error;
}

}  // namespace

TTYLaser::TTYLaser(const std::string& device) : m_device(device) {}

bool TTYLaser::setState(bool on)
{
    return laser::report(on, send(m_device, on));
}

}  // namespace quill
