#include "devices/serial/serial_devices.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "devices/usb/node_holder.h"
#include "devices/usb/sysfs.h"

namespace quill
{
namespace
{

namespace fs = std::filesystem;

/// Consoles and pseudo terminals have no device; a mainboard's driver has ports of type 0 for chips
/// that are not there.
bool isSerialDevice(const fs::path& tty)
{
    std::error_code none;
    if (!fs::exists(tty / "device", none)) return false;
    return sysfs::readNumber(tty / "type") != 0;
}

std::string stablePathOf(const fs::path& node, const fs::path& links)
{
    std::error_code none;
    const fs::path own = node.parent_path() / node.filename();
    for (const auto& link : fs::directory_iterator(links, none)) {
        const fs::path target = (links / fs::read_symlink(link.path(), none)).lexically_normal();
        if (target == own) return links / link.path().filename();
    }
    return "";
}

}  // namespace

std::vector<SerialDevice> serialDevices(const std::string& sysfs, const std::string& dev)
{
    std::vector<SerialDevice> devices;
    std::error_code none;
    for (const auto& tty : fs::directory_iterator(fs::path(sysfs) / "class/tty", none)) {
        if (!isSerialDevice(tty.path())) continue;
        const fs::path node = fs::path(dev) / tty.path().filename();
        SerialDevice device;
        device.path = node;
        device.stablePath = stablePathOf(node, fs::path(dev) / "serial/by-id");
        device.usb = findUsbDevice(node, sysfs);
        device.mayOpen = ::access(node.c_str(), R_OK | W_OK) == 0;
        device.holder = nodeHolder(node);
        devices.push_back(device);
    }
    std::sort(devices.begin(), devices.end(),
              [](const auto& a, const auto& b) { return a.path < b.path; });
    return devices;
}

}  // namespace quill
