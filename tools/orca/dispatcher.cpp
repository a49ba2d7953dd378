#include <pcrecpp.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <tuple>
#include <type_traits>
#include <vector>

#include "common/text.h"
#include "log.h"
#include "tools/orca/hardware_driver.h"

namespace
{

using Call = std::function<void()>;

/// Gives the bound call when the piece is this command, else an empty one.
using Command = std::function<Call(HardwareDriver* driver, const std::string& piece)>;

/// A row of the table. What the pattern captures, and how it is converted, follows from the
/// parameters of the member function; a number that is no complete int is no match.
template <typename... Parameters>
Command command(const char* pattern, void (HardwareDriver::*member)(Parameters...))
{
    const auto expression = std::make_shared<const pcrecpp::RE>(pattern);
    return [expression, member](HardwareDriver* driver, const std::string& piece) -> Call {
        std::tuple<std::decay_t<Parameters>...> captures;
        const auto match = [&](auto&... capture) {
            return expression->FullMatch(piece, pcrecpp::Arg(&capture)...);
        };
        if (!std::apply(match, captures)) return nullptr;
        return [driver, member, captures] {
            const auto run = [&](const auto&... capture) { (driver->*member)(capture...); };
            std::apply(run, captures);
        };
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
        command("kinect", &Driver::captureKinectImages),
        command(R"(test\(\s*([^,]*)\s*,\s*([^,]*)\s*,\s*([^,]*)\s*\))", &Driver::testSystem),
        command(R"(motortest\(\s*([0-9-]+)\s*,\s*([0-9-]+)\s*,\s*([0-9-]+)\s*,\s*([0-9-]+)\s*,)"
                R"(\s*([0-9-]+)\s*\))",
                &Driver::testMotors),
    };
    return table;
}

Call recognise(HardwareDriver* driver, const std::string& piece)
{
    for (const Command& row : commandTable())
        if (Call call = row(driver, piece)) return call;
    return nullptr;
}

}  // namespace

int HardwareDriver::executeCommands(const std::string& commands)
{
    std::vector<std::string> pieces;
    quill::SplitString(commands, ";", &pieces, quill::kSplitDefault);

    std::vector<Call> calls;
    for (const auto& piece : pieces) {
        calls.push_back(recognise(this, piece));
        if (calls.back()) continue;
        QUILL_LOG(kFailure, kLogCategory) << "Unknown command";
        std::fprintf(stderr, "Unknown command %s\n", piece.c_str());
        return 1;
    }
    for (const auto& call : calls) call();
    return 0;
}
