#include "devices/gpio/ft232r_codec.h"

#include <iterator>

namespace quill::ft232r
{

uint16_t checksumOf(const EepromWords& words)
{
    unsigned int sum = 0xAAAA;
    for (size_t i = 0; i < kChecksumWord; ++i) {
        sum ^= words[i];
        sum = (sum << 1 | sum >> 15) & 0xFFFF;
    }
    return static_cast<uint16_t>(sum);
}

std::string cbusFunctionName(int function)
{
    static const char* const names[] = {"TXDEN",  "PWREN", "RXLED", "TXLED", "TXRXLED",
                                        "SLEEP",  "CLK48", "CLK24", "CLK12", "CLK6",
                                        "IOMODE", "BB_WR", "BB_RD"};
    const bool isKnown = function >= 0 && function < static_cast<int>(std::size(names));
    return isKnown ? names[function] : "function " + std::to_string(function);
}

}  // namespace quill::ft232r
