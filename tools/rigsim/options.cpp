#include "tools/rigsim/options.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>

namespace rigsim
{
namespace
{

constexpr double kSlowest = 0.01;
constexpr double kFastest = 1000;

class HelpFormatter : public CLI::Formatter
{
  public:
    std::string make_usage(const CLI::App*, std::string) const override
    {
        return "Usage: rigsim [OPTIONS] -- COMMAND...   runs COMMAND with a simulated rig\n"
               "       rigsim [OPTIONS] --serve DIR     keeps the rig until Ctrl-C\n";
    }
};

std::string faultList()
{
    std::string text;
    std::string device;
    for (const FaultKind& kind : faultKinds()) {
        const std::string name = kind.name;
        if (name.substr(0, name.find('.')) != device) {
            device = name.substr(0, name.find('.'));
            text += fmt::format("\nFaults of the {}:\n", device == "cbus" ? "CBUS pins" : device);
        }
        text += fmt::format("  {:<28}{}\n", faultSyntax(kind), kind.description);
    }
    return text;
}

std::string footer()
{
    return "Devices that COMMAND finds:\n"
           "  /dev/ttyUSB0                camera, VISCA at 9600 bit/s (--serve: DIR/camera)\n"
           "  /dev/ttyUSB1                servos, Dynamixel protocol 1.0 (--serve: DIR/servos):\n"
           "                              ID 1 (pan) and ID 2 (tilt) at 57143 bit/s, baud number\n"
           "                              34, and ID 7 at 117647 bit/s, baud number 16\n"
           "  /dev/ttyUSB2                laser behind a serial relay, 9600 bit/s (--serve:\n"
           "                              DIR/laser)\n"
           "  /dev/bus/usb/001/004..006   the FT232R of each one's adapter, for libusb: EEPROM,\n"
           "                              CBUS pins, all of them I/O (not with --serve)\n"
           "  /dev/serial/by-id           links to the three lines, with a TMPDIR of up to 20\n"
           "                              characters\n"
           "  a Kinect at a USB 3 port    for programs that are built without libfreenect2\n" +
           faultList() +
           "ID is the servo's, 2 where it is left out; PIN is 0 to 3, 1 where it is left out.\n"
           "MS and SECONDS are simulated time, which runs at --speed.\n"
           "\nExit status: that of COMMAND, 128+N when signal N ended it, 127 not found,\n"
           "126 not executable; 2 wrong usage, 125 the rig could not be made.\n"
           "\nExamples:\n"
           "  rigsim -- rigtool -t device=/dev/ttyUSB0 -t 'commands=pantilt(100,-20)'\n"
           "  rigsim --fault camera.noise --fault camera.late-ack=500 --speed 10 \\\n"
           "         --trace trace.txt --serve /tmp/rig";
}

UsageError usageError(const std::string& culprit)
{
    return {fmt::format("rigsim: {}\nrigsim --help lists options and faults\n", culprit)};
}

}  // namespace

std::variant<Options, UsageError, HelpText> parseOptions(const std::vector<std::string>& arguments)
{
    // COMMAND's own options are none of ours: only what stands before "--" is parsed.
    const auto dashes = std::find(arguments.begin(), arguments.end(), "--");
    const bool hasDashes = dashes != arguments.end();

    Options options;
    if (hasDashes) options.command.assign(dashes + 1, arguments.end());

    CLI::App app("The rig where no hardware is attached: simulated devices on pseudo terminals.");
    app.formatter(std::make_shared<HelpFormatter>());
    app.footer(footer());
    std::vector<std::string> faults;
    app.add_option("--fault", faults, "a fault of a device, see below; may be repeated")
        ->type_name("DEVICE.NAME[=VALUE]")
        ->allow_extra_args(false);
    app.add_option("--speed", options.rig.speed, "simulated seconds per second, 0.01 to 1000 (1)")
        ->type_name("N");
    app.add_option("--trace", options.rig.traceFile, "write what goes over the lines to FILE")
        ->type_name("FILE");
    app.add_option("--state", options.stateFile, "write the devices' state at the end to FILE")
        ->type_name("FILE");
    app.add_option("--serve", options.serveFolder, "link the lines into the folder DIR")
        ->type_name("DIR");

    try {
        std::vector<std::string> reversed(std::make_reverse_iterator(dashes), arguments.rend());
        app.parse(reversed);
    } catch (const CLI::CallForHelp&) {
        return HelpText{app.help()};
    } catch (const CLI::ParseError& error) {
        return usageError(error.what());
    }
    // Worded so that it refuses "nan" too, which is neither below nor above anything.
    if (!(options.rig.speed >= kSlowest && options.rig.speed <= kFastest))
        return usageError(fmt::format("--speed must be {} to {}", kSlowest, kFastest));
    for (const std::string& fault : faults)
        if (const auto error = options.rig.faults.add(fault)) return usageError(*error);
    const bool serves = !options.serveFolder.empty();
    if (serves && hasDashes) return usageError("--serve takes no command");
    if (!serves && options.command.empty()) return usageError("no command given behind '--'");
    return options;
}

}  // namespace rigsim
