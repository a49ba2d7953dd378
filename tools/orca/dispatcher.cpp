#include <pcrecpp.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "common/interrupt.h"
#include "common/text.h"
#include "log.h"
#include "tools/orca/hardware_driver.h"

namespace
{

/// A command of a list, ready to run.
struct Call
{
    std::string text;  ///< the command and its arguments as they were understood
    bool isOnDevice;   ///< works on the device of the setting
    std::function<void()> run;
};

/// Gives the call when the piece is this command, else nothing.
using Command =
    std::function<std::optional<Call>(HardwareDriver* driver, const std::string& piece)>;

/// Whether a command works on the device that the setting names, or on others.
enum class WorksOn { Device, Others };

/// "(100,-20)"; nothing where there are no arguments.
template <typename... Captures>
std::string argumentList(const Captures&... captures)
{
    std::ostringstream text;
    [[maybe_unused]] const char* separator = "(";
    ((text << std::exchange(separator, ",") << captures), ...);
    if (sizeof...(captures) > 0) text << ")";
    return text.str();
}

/// No path is as long. A longer piece is garbage, and what a pattern does with it takes its time.
constexpr size_t kLongestPiece = 4096;

/// How often a pattern may try another way through a piece; given up, it does not match. Every
/// piece that is a command is matched within some ten tries, since its first commas and its last
/// parenthesis leave no choice. Blanks can be shared out among "\s*" and "[^,]*" in so many ways
/// that to see that a comma is missing would take seconds.
constexpr int kMostTries = 10000;

/// A row of the table. What the pattern captures, and how it is converted, follows from the
/// parameters of the member function; a number that is no complete int is no match.
template <typename... Parameters>
Command command(const char* pattern, void (HardwareDriver::*member)(Parameters...),
                WorksOn worksOn = WorksOn::Device)
{
    const auto expression = std::make_shared<const pcrecpp::RE>(
        pattern, pcrecpp::RE_Options().set_match_limit(kMostTries));
    const std::string name(pattern, std::strcspn(pattern, "\\"));
    return [=](HardwareDriver* driver, const std::string& piece) -> std::optional<Call> {
        std::tuple<std::decay_t<Parameters>...> captures;
        const auto match = [&](auto&... capture) {
            return expression->FullMatch(piece, pcrecpp::Arg(&capture)...);
        };
        if (!std::apply(match, captures)) return std::nullopt;
        const auto list = [](const auto&... capture) { return argumentList(capture...); };
        const auto run = [driver, member, captures] {
            const auto call = [&](const auto&... capture) { (driver->*member)(capture...); };
            std::apply(call, captures);
        };
        return Call{name + std::apply(list, captures), worksOn == WorksOn::Device, run};
    };
}

const std::vector<Command>& commandTable()
{
    using Driver = HardwareDriver;
    static const std::vector<Command> table = {
        command(R"(pantiltzoom\(\s*([0-9-]+)\s*,\s*([0-9-]+)\s*,\s*([0-9-]+)\s*\))",
                &Driver::setPanTiltZoom),
        command("getpantiltzoom", &Driver::getPanTiltZoom),
        command("resetptz", &Driver::resetPanTilt),
        command(R"(pantilt\(\s*([0-9-]+)\s*,\s*([0-9-]+)\s*\))", &Driver::setPanTilt),
        command(R"(dynamixel\(\s*([0-9-]+)\s*,\s*([0-9-]+)\s*\))", &Driver::setDynamixelPanTilt),
        command(R"(cbus\(\s*([0-9-]+)\s*,\s*([0-9-]+)\s*\))", &Driver::setCBus),
        command("usbsyspath", &Driver::usbSysPath),
        command(R"(dxldump\(\s*([0-9-]+)\s*,\s*([0-9-]+)\s*\))", &Driver::dxlDump),
        command(R"(dxlsetpos\(\s*([0-9-]+)\s*,\s*([0-9-]+)\s*\))", &Driver::dxlSetPos),
        command(R"(dxlsetbyte\(\s*([0-9-]+)\s*,\s*([0-9-]+)\s*,\s*([0-9-]+)\s*\))",
                &Driver::dxlSetByte),
        command(R"(dxlsetword\(\s*([0-9-]+)\s*,\s*([0-9-]+)\s*,\s*([0-9-]+)\s*\))",
                &Driver::dxlSetWord),
        command(R"(dxlgetbyte\(\s*([0-9-]+)\s*,\s*([0-9-]+)\s*\))", &Driver::dxlGetByte),
        command(R"(dxlgetword\(\s*([0-9-]+)\s*,\s*([0-9-]+)\s*\))", &Driver::dxlGetWord),
        command(R"(dxlprecisiontest\(\s*([0-9-]+)\s*\))", &Driver::dynamixelPrecisionTest),
        command(R"(laser\(\s*([0-9-]+)\s*\))", &Driver::laserOn),
        command("kinect", &Driver::captureKinectImages, WorksOn::Others),
        command(R"(test\(\s*([^,]*)\s*,\s*([^,]*)\s*,\s*([^,]*)\s*\))", &Driver::testSystem,
                WorksOn::Others),
        command(R"(motortest\(\s*([0-9-]+)\s*,\s*([0-9-]+)\s*,\s*([0-9-]+)\s*,\s*([0-9-]+)\s*,)"
                R"(\s*([0-9-]+)\s*\))",
                &Driver::testMotors),
    };
    return table;
}

std::optional<Call> recognise(HardwareDriver* driver, const std::string& piece)
{
    if (piece.size() > kLongestPiece) return std::nullopt;
    for (const Command& row : commandTable())
        if (auto call = row(driver, piece)) return call;
    return std::nullopt;
}

/// The calls of a list, or nothing, reported in the name of `function`, when one of its commands is
/// unknown.
std::optional<std::vector<Call>> recogniseAll(HardwareDriver* driver, const std::string& commands,
                                              const char* function)
{
    std::vector<std::string> pieces;
    quill::SplitString(commands, ";", &pieces, quill::kSplitDefault);

    std::vector<Call> calls;
    for (const auto& piece : pieces) {
        const auto call = recognise(driver, piece);
        if (!call) {
            QUILL_LOG_FROM(function, kFailure, kLogCategory) << "Unknown command";
            std::fprintf(stderr, "Unknown command %s\n", piece.c_str());
            return std::nullopt;
        }
        calls.push_back(*call);
    }
    return calls;
}

}  // namespace

int HardwareDriver::executeCommands(const std::string& commands)
{
    const auto calls = recogniseAll(this, commands, __PRETTY_FUNCTION__);
    if (!calls) return 1;
    for (const Call& call : *calls) {
        if (quill::isEndOrdered())
            break;  // the common start-up ends the process when all is closed
        call.run();
    }
    return 0;
}

int HardwareDriver::printCommands(const std::string& commands)
{
    const auto calls = recogniseAll(this, commands, __PRETTY_FUNCTION__);
    if (!calls) return 1;
    for (const Call& call : *calls) {
        const std::string device = call.isOnDevice ? " on " + devicePath : "";
        std::printf("%s%s\n", call.text.c_str(), device.c_str());
    }
    return 0;
}
