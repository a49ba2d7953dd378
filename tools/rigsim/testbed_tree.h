#pragma once

#include <string>

#include "tools/rigsim/rig.h"

namespace rigsim
{

// The places of the rig's devices in /sys and /dev, with the names and attributes that look-ups
// from a tty up to its USB adapter, libudev and libusb read there.

/// The description of the first USB bus in the format of umockdev: path (P), node (N), properties
/// (E), attributes (A), binary ones in hex (H).
std::string rootHubTree();

/// That of a line: its adapter, the interface, the serial port and the tty.
/// @param minor  of the tty, which is N in ttyUSBN
std::string adapterTree(const Rig::Line& line, int minor);

/// The serial port in /sys, which has the adapter's latency timer.
std::string serialPortPath(const Rig::Line& line);

/// "bus/usb/001/004": the USB node of a line's adapter, below /dev.
std::string usbNode(const Rig::Line& line);

/// "serial/by-id/usb-FTDI_FT232R_USB_UART_RIG00004-if00-port0": udev's lasting name of the tty,
/// below /dev.
std::string lastingName(const Rig::Line& line);

}  // namespace rigsim
