#include <gmock/gmock.h>

#include <fstream>
#include <regex>
#include <set>

#include "support/process.h"
#include "tools/rigsim/rig.h"
#include "tools/rigsim/temporary_folder.h"

// What a run asks of its libraries and what its output does not show (contract_spy.cpp).

namespace
{

using Lines = std::vector<std::string>;

Lines spyOn(const std::string& arguments)
{
    const rigsim::TemporaryFolder folder;
    const std::string report = (folder.path() / "report").string();
    support::run(
        {"/bin/sh", "-c",
         "CONTRACT_SPY=" + report + " LD_PRELOAD=" CONTRACT_SPY " " RIGTOOL " " + arguments});
    std::ifstream file(report);
    Lines lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

/// The records of the tool, as "LEVEL FUNCTION", each once, in the order of their first one.
Lines recordsOf(const std::string& arguments)
{
    static const std::regex record(R"((\d) visca_control -1 (.*))");
    Lines found;
    std::set<std::string> seen;
    for (const auto& line : spyOn(arguments)) {
        std::smatch parts;
        if (!std::regex_match(line, parts, record)) continue;
        const std::string text = parts[1].str() + " " + parts[2].str();
        if (seen.insert(text).second) found.push_back(text);
    }
    return found;
}

TEST(Contract, SettingsWaitWhenTheCalibrationLibraryIsCalledOnceAndKnowTheirFile)
{
    EXPECT_THAT(spyOn(""),
                testing::ElementsAre("calibration 6", "setting commands  tools/orca/rigtool.cpp",
                                     "setting device /dev/ttyUSB0 tools/orca/rigtool.cpp",
                                     "setting dxlbaudnum 34 tools/orca/rigtool.cpp",
                                     "setting margin1neg -5 tools/orca/rigtool.cpp",
                                     "setting margin1pos 5 tools/orca/rigtool.cpp",
                                     "setting margin2 1 tools/orca/rigtool.cpp"));
}

TEST(Contract, RecordsCarryTheMemberFunctionThatRunsTheCommand)
{
    const struct
    {
        const char* commands;
        Lines records;
    } withoutDevice[] = {
        {"foo", {"2 int HardwareDriver::executeCommands(const std::string&)"}},
        {"pantiltzoom(1,2,3)", {"2 void HardwareDriver::setPanTiltZoom(int, int, int)"}},
        {"pantilt(1,2)", {"2 void HardwareDriver::setPanTilt(int, int)"}},
        {"getpantiltzoom", {"2 void HardwareDriver::getPanTiltZoom()"}},
        {"resetptz", {"2 void HardwareDriver::resetPanTilt()"}},
        {"dxldump(1,1)",
         {"5 void HardwareDriver::dxlDump(int, int)", "2 void HardwareDriver::dxlDump(int, int)"}},
        {"dxlgetbyte(1,3)", {"2 void HardwareDriver::dxlGetByte(int, int)"}},
        {"dxlgetword(1,3)", {"2 void HardwareDriver::dxlGetWord(int, int)"}},
        {"dxlsetbyte(1,25,1)", {"2 void HardwareDriver::dxlSetByte(int, int, int)"}},
        {"dxlsetword(1,30,1)", {"2 void HardwareDriver::dxlSetWord(int, int, int)"}},
        {"dynamixel(1,2)", {"2 void HardwareDriver::setDynamixelPanTilt(int, int)"}},
        {"motortest(1,2,3,4,5)", {"2 void HardwareDriver::testMotors(int, int, int, int, int)"}},
        {"dxlprecisiontest(1)", {"2 void HardwareDriver::dynamixelPrecisionTest(int)"}},
        {"test(/dev/null,b,c)",
         {"2 void HardwareDriver::testSystem(const std::string&, const std::string&, const "
          "std::string&)"}},
    };
    for (const auto& c : withoutDevice)
        EXPECT_EQ(recordsOf("--log-level 5 -t device=/dev/null -t 'commands=" +
                            std::string(c.commands) + "'"),
                  c.records)
            << c.commands;

    const rigsim::Rig rig;
    const struct
    {
        std::string device;
        const char* commands;
        Lines records;
    } withDevice[] = {
        {rig.cameraPath(),
         "pantilt(30000,0)",
         {"4 void HardwareDriver::setPanTilt(int, int)",
          "2 void HardwareDriver::setPanTilt(int, int)",
          "4 void HardwareDriver::waitNotMoving(const VISCACameraPtr&)"}},
        {rig.servosPath(),
         "dynamixel(2048,2048)",
         {"4 void HardwareDriver::setDynamixelPanTilt(int, int)"}},
        {rig.servosPath(), "dxldump(1,0)", {"5 void HardwareDriver::dxlDump(int, int)"}},
        {rig.servosPath(),
         "motortest(2048,2048,2048,2048,1)",
         {"4 void HardwareDriver::testMotors(int, int, int, int, int)"}},
        {rig.servosPath(),
         "dxlprecisiontest(1)",
         {"5 void HardwareDriver::dynamixelPrecisionTest(int)",
          "4 void HardwareDriver::dynamixelPrecisionTest(int)"}},
    };
    for (const auto& c : withDevice)
        EXPECT_EQ(recordsOf("--line-delay 100 --log-level 5 -t device=" + c.device +
                            " -t 'commands=" + c.commands + "'"),
                  c.records)
            << c.commands;
}

}  // namespace
