#pragma once

#include <array>
#include <cstdint>
#include <string>

/// The functions of the CBUS pins in an FT232R's EEPROM (chip maker's application notes). Pure: no
/// device, clock or log. Used by the GPIO library and by the simulated adapter.
namespace quill::ft232r
{

constexpr unsigned int kCbusPins = 4;  ///< that a program can drive: CBUS0 to CBUS3

/// Number of the EEPROM's 16-bit word that has the functions: four bits a pin, CBUS0 lowest.
constexpr int kCbusFunctionsWord = 0x0A;

/// The EEPROM, word 0 first. The last word is the checksum of the others.
constexpr size_t kEepromWords = 64;
constexpr size_t kChecksumWord = kEepromWords - 1;
using EepromWords = std::array<uint16_t, kEepromWords>;

/// What the last word must be: from 0xAAAA on, each word is taken in by exclusive or and the sum
/// rotated left by one bit.
uint16_t checksumOf(const EepromWords& words);

/// The function of a pin that a program may drive.
constexpr int kIoMode = 0xA;

/// @param pin  0..kCbusPins - 1
constexpr int cbusFunctionOf(uint16_t word, unsigned int pin)
{
    return word >> 4 * pin & 0xF;
}

/// The word with that function for a pin. @param pin  0..kCbusPins - 1
constexpr uint16_t withCbusFunction(uint16_t word, unsigned int pin, int function)
{
    const unsigned int mask = 0xFU << 4 * pin;
    return static_cast<uint16_t>((word & ~mask) |
                                 (static_cast<unsigned int>(function) << 4 * pin & mask));
}

/// "RXLED" for 2; the number in words for one that the chip does not define.
std::string cbusFunctionName(int function);

}  // namespace quill::ft232r
