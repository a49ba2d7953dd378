#include "tools/rigsim/ft232r_image.h"

#include <algorithm>
#include <initializer_list>
#include <stdexcept>

namespace rigsim
{
namespace
{

constexpr size_t kEepromBytes = 128;
constexpr size_t kChecksumAt = kEepromBytes - 2;
constexpr size_t kStringsAt = 0x18;
constexpr uint8_t kStringType = 3;

uint8_t low(uint16_t word)
{
    return static_cast<uint8_t>(word & 0xFF);
}

uint8_t high(uint16_t word)
{
    return static_cast<uint8_t>(word >> 8);
}

// Length and type in front, two bytes a character.
Bytes encodeString(const std::string& text)
{
    Bytes bytes = {static_cast<uint8_t>(2 + 2 * text.size()), kStringType};
    for (const char character : text) {
        bytes.push_back(static_cast<uint8_t>(character));
        bytes.push_back(0);
    }
    return bytes;
}

uint16_t checksum(const Bytes& image)
{
    unsigned sum = 0xAAAA;
    for (size_t i = 0; i < kChecksumAt; i += 2) {
        sum ^= image[i] | image[i + 1] << 8;
        sum = (sum << 1 | sum >> 15) & 0xFFFF;
    }
    return static_cast<uint16_t>(sum);
}

}  // namespace

Bytes eepromImage(const UsbIdentity& identity, uint16_t cbusFunctions)
{
    Bytes image(kEepromBytes, 0);
    const auto put = [&](size_t address, uint16_t word) {
        image[address] = low(word);
        image[address + 1] = high(word);
    };
    put(0x00, 0x4000);  // endpoints of 64 bytes
    put(0x02, identity.vendor);
    put(0x04, identity.product);
    put(0x06, identity.release);
    put(0x08, 0x2DA0);  // bus powered, 90 mA, may wake the computer
    put(0x0A, 0x0008);  // has a serial number
    put(0x0C, 0x0200);  // USB 2.0
    put(0x14, cbusFunctions);
    put(0x16, 0x0005);  // CBUS4 is SLEEP

    size_t end = kStringsAt;
    size_t pointer = 0x0E;
    for (const std::string* text : {&identity.manufacturer, &identity.name, &identity.serial}) {
        const Bytes bytes = encodeString(*text);
        if (end + bytes.size() > kChecksumAt)
            throw std::invalid_argument("USB strings do not fit into the EEPROM");
        image[pointer++] = static_cast<uint8_t>(end | 0x80);
        image[pointer++] = static_cast<uint8_t>(bytes.size());
        std::copy(bytes.begin(), bytes.end(), image.begin() + static_cast<ptrdiff_t>(end));
        end += bytes.size();
    }
    put(kChecksumAt, checksum(image));
    return image;
}

Bytes deviceDescriptor(const UsbIdentity& identity)
{
    Bytes bytes = {18, 1, 0x00, 0x02, 0, 0, 0, 8};  // USB 2.0, packets of 8 bytes
    for (const uint16_t word : {identity.vendor, identity.product, identity.release}) {
        bytes.push_back(low(word));
        bytes.push_back(high(word));
    }
    bytes.insert(bytes.end(), {1, 2, 3, 1});  // the three strings, one configuration
    return bytes;
}

Bytes configurationDescriptor()
{
    return {9, 2, 32,   0, 1,  1,    0,    0xA0, 0x2D,  // one interface, 90 mA
            9, 4, 0,    0, 2,  0xFF, 0xFF, 0xFF, 2,     // of the vendor's own class
            7, 5, 0x81, 2, 64, 0,    0,                 // bulk, in
            7, 5, 0x02, 2, 64, 0,    0};                // bulk, out
}

Bytes stringDescriptor(const UsbIdentity& identity, unsigned index)
{
    switch (index) {
        case 0: return {4, kStringType, 0x09, 0x04};  // English
        case 1: return encodeString(identity.manufacturer);
        case 2: return encodeString(identity.name);
        case 3: return encodeString(identity.serial);
        default: return {};
    }
}

}  // namespace rigsim
