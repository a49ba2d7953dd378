#include "tools/rigsetup/cbus.h"

#include <fmt/format.h>

#include <cstdio>
#include <stdexcept>

#include "devices/gpio/ft232r_eeprom.h"
#include "devices/usb/usb_device.h"
#include "tools/rigsetup/eeprom_file.h"

namespace rigsetup
{
namespace
{

namespace ft232r = quill::ft232r;
using ft232r::EepromWords;

int fail(const std::string& text)
{
    fmt::print(stderr, "rigsetup: {}\n", text);
    return 1;
}

std::string serialNumberOf(const std::string& device)
{
    const auto usb = quill::findUsbDevice(device);
    return usb ? usb->serialNumber : "";
}

bool isChecksumRight(const EepromWords& words)
{
    return words[ft232r::kChecksumWord] == ft232r::checksumOf(words);
}

void show(const CbusOptions& options, const EepromWords& words)
{
    const std::string serial = serialNumberOf(options.device);
    fmt::print("FT232R of {}, serial number {}\n", options.device, serial.empty() ? "-" : serial);
    for (unsigned int pin = 0; pin < ft232r::kCbusPins; ++pin)
        fmt::print("  CBUS{}  {}\n", pin,
                   ft232r::cbusFunctionName(
                       ft232r::cbusFunctionOf(words[ft232r::kCbusFunctionsWord], pin)));
}

EepromWords withIoPins(EepromWords words, const std::vector<unsigned int>& pins)
{
    uint16_t& functions = words[ft232r::kCbusFunctionsWord];
    for (const unsigned int pin : pins)
        functions = ft232r::withCbusFunction(functions, pin, ft232r::kIoMode);
    words[ft232r::kChecksumWord] = ft232r::checksumOf(words);
    return words;
}

std::string changesText(const EepromWords& present, const EepromWords& wanted)
{
    std::string text = "Will change in the EEPROM:";
    for (size_t i = 0; i < present.size(); ++i)
        if (present[i] != wanted[i])
            text += fmt::format("\n  word {:02x}{}: {:04x} becomes {:04x}", i,
                                i == ft232r::kChecksumWord ? ", the checksum" : "", present[i],
                                wanted[i]);
    return text;
}

int change(const CbusOptions& options, quill::Ft232rEeprom& eeprom, const EepromWords& present,
           const EepromWords& wanted, const Asker& asker)
{
    if (present == wanted) {
        fmt::print("Nothing to change.\n");
        return 0;
    }
    switch (asker.ask(changesText(present, wanted))) {
        case Consent::DryRun: return 0;
        case Consent::Refused: return 1;
        case Consent::Given: break;
    }
    const std::string serial = serialNumberOf(options.device);
    const std::string backup = options.backup.empty() ? defaultBackupPath(serial) : options.backup;
    writeEepromFile(backup, "EEPROM of the FT232R with the serial number " + serial, present);
    fmt::print("The content before is kept in {}\n", backup);
    if (const auto error = eeprom.write(present, wanted)) {
        fail(error->text());
        return fail(fmt::format("the backup: rigsetup cbus --device {} --restore {}",
                                options.device, backup));
    }
    fmt::print("Written and read back. It takes effect when the adapter is plugged in anew.\n");
    return 0;
}

int work(const CbusOptions& options, const Asker& asker)
{
    // A file that is no backup is told before anything is opened.
    EepromWords wanted = {};
    if (!options.restore.empty()) wanted = readEepromFile(options.restore);
    quill::Ft232rEeprom eeprom;
    EepromWords present = {};
    if (const auto error = eeprom.open(options.device)) return fail(error->text());
    if (const auto error = eeprom.read(&present)) return fail(error->text());
    show(options, present);
    if (!options.restore.empty()) return change(options, eeprom, present, wanted, asker);
    if (!isChecksumRight(present))
        return fail(options.device +
                    ": the checksum of the EEPROM is wrong: nothing is changed "
                    "(--restore FILE writes a backup)");
    if (options.ioPins.empty()) return 0;
    return change(options, eeprom, present, withIoPins(present, options.ioPins), asker);
}

}  // namespace

int setUpCbus(const CbusOptions& options, const Asker& asker)
{
    try {
        return work(options, asker);
    } catch (const std::runtime_error& error) {
        return fail(error.what());
    }
}

}  // namespace rigsetup
