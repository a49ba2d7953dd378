#include <pcrecpp.h>

#include <cstdio>
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

/// A row of the table of commands.
struct Command
{
    std::string form;  ///< name and parameters, as a reader is told
    /// Gives the call when the piece is this command, else nothing.
    std::function<std::optional<Call>(HardwareDriver* driver, const std::string& piece)> recognise;
};

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

template <typename Parameter>
const char* capturePattern()
{
    return std::is_same_v<std::decay_t<Parameter>, int> ? R"(\s*([0-9-]+)\s*)" : R"(\s*([^,]*)\s*)";
}

/// @param pattern  the name. Blanks may stand around an argument, and nowhere else.
template <typename... Parameters>
std::string patternOf(std::string pattern)
{
    [[maybe_unused]] const char* separator = R"(\()";
    ((pattern.append(std::exchange(separator, ",")).append(capturePattern<Parameters>())), ...);
    return sizeof...(Parameters) > 0 ? pattern + R"(\))" : pattern;
}

/// A row of the table. What the pattern captures, and how it is converted, follows from the
/// parameters of the member function; a number that is no complete int is no match.
/// @param form  "pantilt(pan,tilt)": the name, and names for the parameters of the member function
template <typename... Parameters>
Command command(const std::string& form, void (HardwareDriver::*member)(Parameters...),
                WorksOn worksOn = WorksOn::Device)
{
    const std::string name = form.substr(0, form.find('('));
    const auto expression = std::make_shared<const pcrecpp::RE>(
        patternOf<Parameters...>(name), pcrecpp::RE_Options().set_match_limit(kMostTries));
    const auto recognise = [=](HardwareDriver* driver,
                               const std::string& piece) -> std::optional<Call> {
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
    return {form, recognise};
}

const std::vector<Command>& commandTable()
{
    using Driver = HardwareDriver;
    static const std::vector<Command> table = {
        command("pantiltzoom(pan,tilt,zoom)", &Driver::setPanTiltZoom),
        command("getpantiltzoom", &Driver::getPanTiltZoom),
        command("resetptz", &Driver::resetPanTilt),
        command("pantilt(pan,tilt)", &Driver::setPanTilt),
        command("dynamixel(pan,tilt)", &Driver::setDynamixelPanTilt),
        command("cbus(pin,state)", &Driver::setCBus),
        command("usbsyspath", &Driver::usbSysPath),
        command("dxldump(maxbaud,maxid)", &Driver::dxlDump),
        command("dxlsetpos(id,pos)", &Driver::dxlSetPos),
        command("dxlsetbyte(id,addr,value)", &Driver::dxlSetByte),
        command("dxlsetword(id,addr,value)", &Driver::dxlSetWord),
        command("dxlgetbyte(id,addr)", &Driver::dxlGetByte),
        command("dxlgetword(id,addr)", &Driver::dxlGetWord),
        command("dxlprecisiontest(n)", &Driver::dynamixelPrecisionTest),
        command("laser(n)", &Driver::laserOn),
        command("kinect", &Driver::captureKinectImages, WorksOn::Others),
        command("test(ptz_tty,motors_tty,laser_tty)", &Driver::testSystem, WorksOn::Others),
        command("motortest(x0,x1,y0,y1,duration_s)", &Driver::testMotors),
    };
    return table;
}

std::optional<Call> recognise(HardwareDriver* driver, const std::string& piece)
{
    if (piece.size() > kLongestPiece) return std::nullopt;
    for (const Command& row : commandTable())
        if (auto call = row.recognise(driver, piece)) return call;
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

std::vector<std::string> HardwareDriver::commandForms()
{
    std::vector<std::string> forms;
    for (const Command& row : commandTable()) forms.push_back(row.form);
    return forms;
}

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
