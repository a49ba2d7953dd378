#pragma once

#include <optional>
#include <string>

namespace quill
{

/// A device on USB as the system describes it.
struct UsbDevice
{
    std::string sysPath;  ///< its folder: "/sys/devices/pci0000:00/0000:00:14.0/usb1/1-4"
    int bus = 0;          ///< with `address` its node in /dev/bus/usb
    int address = 0;
    int vendor = 0;            ///< 16-bit numbers of the device descriptor
    int product = 0;           ///< idProduct
    int release = 0;           ///< bcdDevice
    int speedMbit = 0;         ///< 12, 480 at USB 2, 5000 at USB 3; 0: not told
    std::string productName;   ///< what the device calls itself; may be empty
    std::string serialNumber;  ///< may be empty
    std::string ttyDriver;     ///< the kernel's driver of the tty: "ftdi_sio"; empty for no tty

    /// "/dev/bus/usb/001/004"
    std::string nodePath() const;
};

/// Reads the description of a USB device. What it does not tell, or what does not fit, is 0 or
/// empty.
/// @param sysPath  its folder in the system's tree of devices, or a link to it
UsbDevice describeUsbDevice(const std::string& sysPath);

/// The USB device that a device node belongs to, hubs between or not. Nothing is opened.
/// @param node  device node or a link to it: /dev/ttyUSB0, /dev/serial/by-id/..., /dev/video0,
///              /dev/bus/usb/001/004
/// @param root  where the system describes its devices
/// @return empty for everything that is no device node, or none behind USB
std::optional<UsbDevice> findUsbDevice(const std::string& node, const std::string& root = "/sys");

/// Gives the system path of the USB device that a device node belongs to; empty where
/// findUsbDevice() finds none.
/// @return whether there is one
bool getDeviceSysPath(const std::string& device, std::string* sysPath);

}  // namespace quill
