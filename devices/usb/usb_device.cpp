#include "devices/usb/usb_device.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace quill
{
namespace
{

namespace fs = std::filesystem;

/// The folder of the node's device in the tree of devices; empty when it is no device node.
fs::path folderOfNode(const std::string& path, const fs::path& sysfs)
{
    struct stat node = {};
    if (::stat(path.c_str(), &node) != 0) return {};
    if (!S_ISCHR(node.st_mode) && !S_ISBLK(node.st_mode)) return {};
    const std::string number =
        std::to_string(major(node.st_rdev)) + ":" + std::to_string(minor(node.st_rdev));
    std::error_code none;
    return fs::canonical(sysfs / "dev" / (S_ISCHR(node.st_mode) ? "char" : "block") / number, none);
}

bool isTty(const fs::path& folder)
{
    std::error_code none;
    return fs::read_symlink(folder / "subsystem", none).filename() == "tty";
}

/// A line "KEY=value" of the system's description of a device; empty when there is none.
std::string property(const fs::path& folder, const std::string& key)
{
    std::ifstream file(folder / "uevent");
    for (std::string line; std::getline(file, line);)
        if (line.rfind(key + "=", 0) == 0) return line.substr(key.size() + 1);
    return {};
}

std::string firstLine(const fs::path& path)
{
    std::string line;
    std::ifstream file(path);
    std::getline(file, line);
    return line;
}

/// A number of the device's description; 0 when there is none that fits.
int number(const fs::path& file, int base)
{
    const std::string text = firstLine(file);
    int value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value, base);
    return value >= 0 && value <= 0xFFFF ? value : 0;
}

}  // namespace

std::string UsbDevice::nodePath() const
{
    char path[64];
    std::snprintf(path, sizeof path, "/dev/bus/usb/%03d/%03d", bus, address);
    return path;
}

UsbDevice describeUsbDevice(const std::string& sysPath)
{
    const fs::path folder = sysPath;
    UsbDevice device;
    device.sysPath = sysPath;
    device.bus = number(folder / "busnum", 10);
    device.address = number(folder / "devnum", 10);
    device.vendor = number(folder / "idVendor", 16);
    device.product = number(folder / "idProduct", 16);
    device.release = number(folder / "bcdDevice", 16);
    device.speedMbit = number(folder / "speed", 10);
    device.productName = firstLine(folder / "product");
    device.serialNumber = firstLine(folder / "serial");
    return device;
}

std::optional<UsbDevice> findUsbDevice(const std::string& node, const std::string& sysfs)
{
    const fs::path nodeFolder = folderOfNode(node, sysfs);
    for (fs::path folder = nodeFolder; folder != folder.parent_path();
         folder = folder.parent_path()) {
        if (property(folder, "DEVTYPE") != "usb_device") continue;
        UsbDevice device = describeUsbDevice(folder);
        // The tty's folder is DEVICE/tty/NAME; the driver is bound to DEVICE.
        if (isTty(nodeFolder))
            device.ttyDriver = property(nodeFolder.parent_path().parent_path(), "DRIVER");
        return device;
    }
    return std::nullopt;
}

bool getDeviceSysPath(const std::string& device, std::string* sysPath)
{
    const auto found = findUsbDevice(device);
    *sysPath = found ? found->sysPath : "";
    return found.has_value();
}

}  // namespace quill
