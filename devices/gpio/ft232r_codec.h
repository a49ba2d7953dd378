#pragma once

#include <cstdint>
#include <string>

/// The functions of the CBUS pins in an FT232R's EEPROM (chip maker's application notes). Pure: no
/// device, clock or log. Used by the GPIO library and by the simulated adapter.
namespace quill::ft232r
{

constexpr unsigned int kCbusPins = 4;  ///< that a program can drive: CBUS0 to CBUS3

/// Number of the EEPROM's 16-bit word that has the functions: four bits a pin, CBUS0 lowest.
constexpr int kCbusFunctionsWord = 0x0A;

/// The function of a pin that a program may drive.
constexpr int kIoMode = 0xA;

/// @param pin  0..kCbusPins - 1
constexpr int cbusFunctionOf(uint16_t word, unsigned int pin)
{
    return word >> 4 * pin & 0xF;
}

/// "RXLED" for 2; the number in words for one that the chip does not define.
std::string cbusFunctionName(int function);

}  // namespace quill::ft232r
