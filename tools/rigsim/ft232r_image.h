#pragma once

#include <string>

#include "tools/rigsim/bytes.h"

namespace rigsim
{

/// Who a USB serial adapter says it is. The default is an FT232R.
struct UsbIdentity
{
    uint16_t vendor = 0x0403, product = 0x6001;
    uint16_t release = 0x0600;  ///< bcdDevice: which chip it is
    std::string manufacturer = "FTDI";
    std::string name = "FT232R USB UART";
    std::string serial = "RIG00000";
};

/// The 128 bytes of the chip's EEPROM, its checksum right (chip maker's application notes).
/// @param cbusFunctions  word 0Ah: four bits a pin, CBUS0 lowest
/// @throw std::invalid_argument  the strings do not fit
Bytes eepromImage(const UsbIdentity& identity, uint16_t cbusFunctions);

/// As the chip answers GET_DESCRIPTOR (USB 2.0, chapter 9).
Bytes deviceDescriptor(const UsbIdentity& identity);
Bytes configurationDescriptor();
/// @param index  0 tells the language; 1 manufacturer, 2 name, 3 serial number; otherwise empty
Bytes stringDescriptor(const UsbIdentity& identity, unsigned index);

}  // namespace rigsim
