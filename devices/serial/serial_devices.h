#pragma once

#include <optional>
#include <string>
#include <vector>

#include "devices/usb/usb_device.h"

namespace quill
{

/// A serial device of this computer.
struct SerialDevice
{
    std::string path;        ///< "/dev/ttyUSB0"
    std::string stablePath;  ///< its link in /dev/serial/by-id; empty when it has none
    std::optional<UsbDevice> usb;
    bool mayOpen = false;  ///< whether this user has the right to
    std::string holder;    ///< "minicom, process 1234": who has it open; empty: nobody seen
};

/// All serial devices, by path; the ports of a mainboard that have no chip behind them are left
/// out. Nothing is opened.
/// @param sysfs, dev  where the system describes its devices, and where their nodes are
std::vector<SerialDevice> serialDevices(const std::string& sysfs = "/sys",
                                        const std::string& dev = "/dev");

}  // namespace quill
