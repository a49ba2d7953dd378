#include "devices/laser/tty_laser.h"

#include <cstdint>

#include "common/logging.h"
#include "devices/serial/device_line.h"

namespace quill
{
namespace
{

constexpr const char* kCategory = "laser";

constexpr int kBitRate = 9600;
/// The four bytes take 4 ms on the line.
constexpr Duration kTimeout = seconds(1);

std::optional<Error> send(const std::string& device, bool on)
{
    static constexpr uint8_t kOn[] = {0xA0, 0x01, 0x01, 0xA2};
    static constexpr uint8_t kOff[] = {0xA0, 0x01, 0x00, 0xA1};
    DeviceLine line;
    const Time deadline = line.deadlineIn(kTimeout);
    auto error = line.open(device, kBitRate);
    if (!error) error = line.write(on ? kOn : kOff, sizeof kOn, deadline);
    if (!error) error = line.drain(deadline);
    return error;
}

}  // namespace

TTYLaser::TTYLaser(const std::string& device) : m_device(device) {}

bool TTYLaser::setState(bool on)
{
    const auto error = send(m_device, on);
    if (!error) return true;
    QUILL_LOG(kWarning, kCategory)
        << "laser not switched " << (on ? "on" : "off") << ": " << error->text();
    return false;
}

}  // namespace quill
