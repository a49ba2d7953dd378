#include "usb_adapter.h"

#include <linux/serial.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <utility>

#include "devices/usb/sysfs.h"
#include "devices/usb/usb_device.h"

namespace quill
{
namespace
{

/// Without a latency timer: some milliseconds of an adapter's own buffering and of USB.
constexpr Duration kUntoldLatency = milliseconds(4);

/// @return whether the driver knows the setting, had it otherwise and took it
bool changeLowLatency(int fd, bool low)
{
    serial_struct settings = {};
    if (::ioctl(fd, TIOCGSERIAL, &settings) != 0) return false;
    const bool before = (settings.flags & ASYNC_LOW_LATENCY) != 0;
    if (before == low) return false;
    settings.flags ^= ASYNC_LOW_LATENCY;
    return ::ioctl(fd, TIOCSSERIAL, &settings) == 0;
}

}  // namespace

UsbAdapter::UsbAdapter(std::string ttyPath, std::string sysfs)
    : m_tty(std::move(ttyPath)), m_sysfs(std::move(sysfs))
{}

int UsbAdapter::bitRate(int reported) const
{
    const auto usb = findUsbDevice(m_tty, m_sysfs);
    if (!usb || usb->ttyDriver != "ftdi_sio") return reported;
    // From release 7.00 on the chips have a 120 MHz clock whose steps are finer than anything asked
    // for here, except the FT-X (10.00).
    const bool hasFineSteps = usb->release >= 0x0700 && usb->release != 0x1000;
    return hasFineSteps ? reported : ftdiBitRate(reported);
}

Duration UsbAdapter::latency() const
{
    const std::filesystem::path device = sysfs::deviceOfTty(m_tty, m_sysfs);
    if (device.empty()) return {};
    if (const auto latencyMs = sysfs::readNumber(device / "latency_timer"))
        return milliseconds(*latencyMs);
    std::error_code none;
    const bool isDevice = std::filesystem::exists(device / "uevent", none);
    return isDevice ? kUntoldLatency : Duration();
}

int ftdiBitRate(int bitRate)
{
    constexpr int64_t kClock = 24000000;
    constexpr int64_t kLargestDivisor = 0x1FFFF;
    if (bitRate <= 0) return 0;
    int64_t divisor = std::clamp((kClock + bitRate / 2) / bitRate, int64_t{8}, kLargestDivisor);
    if (divisor < 16) divisor = (divisor + 2) / 4 * 4;  // below 16 only 8 and 12 work
    return static_cast<int>((kClock + divisor / 2) / divisor);
}

LowLatency::LowLatency(int fd) : m_fd(fd)
{
    if (changeLowLatency(fd, true)) m_cleanup.emplace([fd] { (void)changeLowLatency(fd, false); });
}

LowLatency::~LowLatency()
{
    if (m_cleanup) (void)changeLowLatency(m_fd, false);  // best effort: it may be unplugged
}

}  // namespace quill
