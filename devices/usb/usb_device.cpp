#include "devices/usb/usb_device.h"

#include <cstdio>
#include <filesystem>

#include "devices/usb/sysfs.h"

namespace quill
{

namespace fs = std::filesystem;

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
    const auto number = [&folder](const char* name, int base) {
        return sysfs::readNumber(folder / name, base).value_or(0);
    };
    device.bus = number("busnum", 10);
    device.address = number("devnum", 10);
    device.vendor = number("idVendor", 16);
    device.product = number("idProduct", 16);
    device.release = number("bcdDevice", 16);
    device.speedMbit = number("speed", 10);
    device.productName = sysfs::readLine(folder / "product");
    device.serialNumber = sysfs::readLine(folder / "serial");
    return device;
}

std::optional<UsbDevice> findUsbDevice(const std::string& node, const std::string& root)
{
    for (fs::path folder = sysfs::folderOfNode(node, root); folder != folder.parent_path();
         folder = folder.parent_path()) {
        if (sysfs::readProperty(folder, "DEVTYPE") != "usb_device") continue;
        UsbDevice device = describeUsbDevice(folder);
        device.ttyDriver = sysfs::readProperty(sysfs::deviceOfTty(node, root), "DRIVER");
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
