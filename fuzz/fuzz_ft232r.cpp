#include <cstdlib>
#include <stdexcept>

#include "tools/rigsim/ft232r_model.h"

using namespace rigsim;

namespace
{

/// The strings of an adapter, and thereby its EEPROM image, from a program's own text.
UsbIdentity identityOf(const uint8_t** data, size_t* size)
{
    UsbIdentity identity;
    for (std::string* text : {&identity.manufacturer, &identity.name, &identity.serial}) {
        text->clear();
        for (; *size > 0 && **data != 0; ++*data, --*size) *text += static_cast<char>(**data);
        if (*size > 0) ++*data, --*size;
    }
    return identity;
}

}  // namespace

/// Three texts, each ended by a zero byte, then setup packets of 8 bytes: the image is refused or
/// whole, and the chip answers every request with what it was asked for at most.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const UsbIdentity identity = identityOf(&data, &size);
    try {
        Ft232rModel chip(identity);
        for (; size >= 8; data += 8, size -= 8) {
            const auto word = [&](size_t at) {
                return static_cast<uint16_t>(data[at] | data[at + 1] << 8);
            };
            const UsbSetup setup = {data[0], data[1], word(2), word(4), word(6)};
            if (chip.control(setup).data.size() > setup.length) std::abort();
        }
        for (const CbusPin& pin : chip.state().pins)
            if (pin.function < 0 || pin.function > 15) std::abort();
    } catch (const std::invalid_argument&) {
        // the texts do not fit the image
    }
    return 0;
}
