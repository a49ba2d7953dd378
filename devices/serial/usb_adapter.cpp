#include "usb_adapter.h"

#include <linux/serial.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cstdint>
#include <fstream>

namespace quill
{
namespace
{

/// Without a latency timer: some milliseconds of an adapter's own buffering and of USB.
constexpr Duration kUntoldLatency = milliseconds(4);

std::string readLine(const std::string& path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

bool isDrivenBy(const std::string& folder, const std::string& driver)
{
    std::ifstream file(folder + "uevent");
    for (std::string line; std::getline(file, line);)
        if (line == "DRIVER=" + driver) return true;
    return false;
}

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

UsbAdapter::UsbAdapter(const std::string& ttyPath, const std::string& sysfs)
{
    struct stat node = {};
    if (::stat(ttyPath.c_str(), &node) != 0) return;  // opening it tells why
    // The entry is a link to DEVICE/tty/NAME.
    m_folder = sysfs + "/dev/char/" + std::to_string(major(node.st_rdev)) + ":" +
               std::to_string(minor(node.st_rdev)) + "/../../";
}

int UsbAdapter::bitRate(int reported) const
{
    if (!isDrivenBy(m_folder, "ftdi_sio")) return reported;
    // Device DEVICE of interface of USB device. From release 7.00 on the chips have a 120 MHz clock
    // whose steps are finer than anything asked for here, except the FT-X (10.00).
    const std::string release = readLine(m_folder + "../../bcdDevice");
    const bool hasFineSteps = release >= "0700" && release != "1000";
    return hasFineSteps ? reported : ftdiBitRate(reported);
}

Duration UsbAdapter::latency() const
{
    std::ifstream timer(m_folder + "latency_timer");
    int latencyMs = 0;
    if (timer >> latencyMs) return milliseconds(latencyMs);
    const bool isDevice = std::ifstream(m_folder + "uevent").is_open();
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
