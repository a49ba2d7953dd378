#include "tools/rigsetup/names.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "devices/rig_test/same_device.h"
#include "tools/rigsetup/port_probe.h"

namespace rigsetup
{
namespace
{

namespace fs = std::filesystem;

constexpr int kBaudNumber = 34;
constexpr quill::Duration kLimit = quill::milliseconds(4800);
constexpr const char* kFileName = "70-rig-names.rules";

struct Part
{
    const char* name;  ///< behind "/dev/rig-"
    Finding::Kind kind;
    std::string path;  ///< as given; empty: to be found
};

int fail(const std::string& text)
{
    fmt::print(stderr, "rigsetup: {}\n", text);
    return 1;
}

/// The one port of a part: the one that was named, or the only one that answers like it.
/// @return empty, and the reason
const ProbedPort* portOf(const Part& part, const std::vector<ProbedPort>& ports, std::string* why)
{
    std::vector<const ProbedPort*> fitting;
    for (const ProbedPort& port : ports) {
        const bool isFitting = part.path.empty()
                                   ? port.finding && port.finding->kind == part.kind
                                   : quill::app::isSameDevice(part.path, port.device.path);
        if (isFitting) fitting.push_back(&port);
    }
    if (fitting.size() == 1) return fitting.front();
    if (!part.path.empty())
        *why =
            fmt::format("{}: no such serial device (rigtool --list-devices shows them)", part.path);
    else
        *why = fmt::format("{} ports look like the {} (name the one with --{} TTY)", fitting.size(),
                           part.name, part.name);
    return nullptr;
}

/// What would stand in a rule as something else.
bool isPlain(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](unsigned char c) {
        return std::isalnum(c) != 0 || std::strchr(" ._:-", c) != nullptr;
    });
}

bool looksAlike(const quill::UsbDevice& a, const quill::UsbDevice& b)
{
    return a.vendor == b.vendor && a.product == b.product && a.serialNumber == b.serialNumber;
}

/// Why the adapter cannot be known again; empty where it can.
std::string whyNotUnique(const quill::SerialDevice& device, const std::vector<ProbedPort>& ports)
{
    constexpr const char* kRemedy =
        "use an adapter with a serial number of its own, or its name in /dev/serial/by-path and "
        "always the same USB port";
    if (!device.usb) return fmt::format("{}: it is no USB adapter", device.path);
    for (const ProbedPort& other : ports)
        if (other.device.path != device.path && other.device.usb &&
            looksAlike(*device.usb, *other.device.usb))
            return fmt::format(
                "{} and {} cannot be told apart: both have {} ({})", device.path, other.device.path,
                device.usb->serialNumber.empty() ? "no serial number"
                                                 : "the serial number " + device.usb->serialNumber,
                kRemedy);
    if (device.usb->serialNumber.empty())
        return fmt::format("{}: the adapter has no serial number ({})", device.path, kRemedy);
    if (!isPlain(device.usb->serialNumber))
        return fmt::format("{}: its serial number cannot stand in a rule ({})", device.path,
                           kRemedy);
    return "";
}

std::string ruleOf(const Part& part, const quill::UsbDevice& usb)
{
    return fmt::format(
        "SUBSYSTEM==\"tty\", ATTRS{{idVendor}}==\"{:04x}\", "
        "ATTRS{{idProduct}}==\"{:04x}\", ATTRS{{serial}}==\"{}\", "
        "SYMLINK+=\"rig-{}\"\n",
        usb.vendor, usb.product, usb.serialNumber, part.name);
}

/// All of the file or nothing.
int writeFile(const fs::path& path, const std::string& text)
{
    const fs::path unfinished = path.string() + ".new";
    errno = 0;
    std::ofstream file(unfinished);
    file << text;
    file.close();
    std::error_code error;
    if (!file)
        error.assign(errno, std::generic_category());
    else
        fs::rename(unfinished, path, error);
    if (!error) return 0;
    std::error_code none;
    fs::remove(unfinished, none);
    const char* const remedy = error == std::errc::permission_denied ? " (run it with sudo)" : "";
    return fail(fmt::format("{}: write: {}{}", path.string(), error.message(), remedy));
}

int install(const NamesOptions& options, const std::string& rules, const Asker& asker)
{
    const fs::path path = fs::path(options.folder) / kFileName;
    const bool exists = fs::exists(path);
    switch (asker.ask(
        fmt::format("{}Will {} {}.", rules, exists ? "replace" : "write", path.string()))) {
        case Consent::DryRun: return 0;
        case Consent::Refused: return 1;
        case Consent::Given: break;
    }
    if (const int status = writeFile(path, rules)) return status;
    fmt::print("Written. The names are there when the adapters are plugged in anew.\n");
    return 0;
}

}  // namespace

int nameAdapters(const NamesOptions& options, const Asker& asker)
{
    const Part parts[] = {{"camera", Finding::Kind::Camera, options.camera},
                          {"servos", Finding::Kind::Servos, options.servos},
                          {"laser", Finding::Kind::NoAnswer, options.laser}};
    const bool isAllGiven = std::all_of(std::begin(parts), std::end(parts),
                                        [](const Part& part) { return !part.path.empty(); });
    const auto ports = isAllGiven ? listPorts() : probeAllPorts(kBaudNumber, kLimit);
    std::string rules = "# The adapters of this rig by their serial numbers, made by rigsetup.\n";
    int status = 0;
    for (const Part& part : parts) {
        std::string why;
        const ProbedPort* port = portOf(part, ports, &why);
        if (port) why = whyNotUnique(port->device, ports);
        if (!why.empty())
            status = fail(why);
        else
            rules += ruleOf(part, *port->device.usb);
    }
    if (status != 0) return status;
    if (options.installs) return install(options, rules, asker);
    fmt::print("{}", rules);
    return 0;
}

}  // namespace rigsetup
