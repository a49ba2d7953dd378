#include "devices/gpio/ft232r_codec.h"

#include <iterator>

namespace quill::ft232r
{

std::string cbusFunctionName(int function)
{
    static const char* const names[] = {"TXDEN",  "PWREN", "RXLED", "TXLED", "TXRXLED",
                                        "SLEEP",  "CLK48", "CLK24", "CLK12", "CLK6",
                                        "IOMODE", "BB_WR", "BB_RD"};
    const bool isKnown = function >= 0 && function < static_cast<int>(std::size(names));
    return isKnown ? names[function] : "function " + std::to_string(function);
}

}  // namespace quill::ft232r
