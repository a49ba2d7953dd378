#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <vector>

#include "common/logging.h"
#include "support/log_capture.h"
#include "support/recording_driver.h"
#include "tools/orca/hardware_driver.h"

namespace
{

struct Outcome
{
    int status;
    std::vector<std::string> calls;
    std::vector<std::string> errors;
};

Outcome run(const std::string& commands)
{
    support::LogCapture capture;
    HardwareDriver driver("/dev/null");
    const int status = driver.executeCommands(commands);
    return {status, support::takeDriverCalls(), capture.records()};
}

using Calls = std::vector<std::string>;

}  // namespace

TEST(Dispatcher, BindsEveryCommandToItsOperation)
{
    const struct
    {
        const char* commands;
        Calls calls;
    } cases[] = {
        {"pantiltzoom(100,-20,3)", {"setPanTiltZoom [100] [-20] [3]"}},
        {"getpantiltzoom", {"getPanTiltZoom"}},
        {"resetptz", {"resetPanTilt"}},
        {"pantilt( 5 , -5 )", {"setPanTilt [5] [-5]"}},
        {"dynamixel(\v512\f,\t\r\n600 )", {"setDynamixelPanTilt [512] [600]"}},
        {"cbus(1,1);cbus(3,1)", {"setCBus [1] [1]", "setCBus [3] [1]"}},
        {"usbsyspath", {"usbSysPath"}},
        {"dxldump(34,252)", {"dxlDump [34] [252]"}},
        {"dxlsetpos(2,300)", {"dxlSetPos [2] [300]"}},
        {"dxlsetbyte(1,25,1)", {"dxlSetByte [1] [25] [1]"}},
        {"dxlsetword(1,30,2048)", {"dxlSetWord [1] [30] [2048]"}},
        {"dxlgetbyte(00000000000000000000000000000000000007,-0)", {"dxlGetByte [7] [0]"}},
        {"dxlgetword(1,-2147483648)", {"dxlGetWord [1] [-2147483648]"}},
        {"dxlprecisiontest(10)", {"dynamixelPrecisionTest [10]"}},
        {"laser(1)", {"laserOn [1]"}},
        {"kinect;kinect", {"captureKinectImages", "captureKinectImages"}},
        {"test(/dev/a,/dev/b,/dev/c)", {"testSystem [/dev/a] [/dev/b] [/dev/c]"}},
        {"test( a , b,c) )", {"testSystem [a ] [b] [c) ]"}},
        {"test(\v\xff,\xc3(,\xa0\n)", {"testSystem [\xff] [\xc3(] [\xa0\n]"}},
        {"test(,,)", {"testSystem [] [] []"}},
        {"motortest(0,1,2,3,60)", {"testMotors [0] [1] [2] [3] [60]"}},
        {"", {}},
        {";;kinect;", {"captureKinectImages"}},
    };
    std::string bound;
    for (const auto& c : cases) {
        const Outcome result = run(c.commands);
        EXPECT_EQ(result.status, 0) << c.commands;
        EXPECT_EQ(result.calls, c.calls) << c.commands;
        EXPECT_EQ(result.errors, Calls{}) << c.commands;
        bound += std::string(";") + c.commands + ";";
    }
    for (const std::string& form : HardwareDriver::commandForms()) {
        const size_t arguments = form.find('(');
        const std::string begin =
            arguments == std::string::npos ? form + ";" : form.substr(0, arguments + 1);
        EXPECT_THAT(bound, testing::HasSubstr(";" + begin)) << form << " is not tested";
    }
}

TEST(Dispatcher, RunsNothingWhenOnePieceIsUnknown)
{
    const char* const unknown[] = {
        "foo",
        "KINECT",
        "kinect()",
        " kinect",
        "kinect\n",
        "pantilt (1,2)",
        "pantilt(1,2) ",
        "pantiltzoom(10,20)",
        "pantilt(1,2,3)",
        "pantilt(+1,2)",
        "pantilt(,2)",
        "dxlgetbyte(1,99999999999999999999)",
        "dxlgetbyte(1,2147483648)",
        "dxlgetbyte(1,-2147483649)",
        "pantilt(\xa0 1,2)",
        "pantilt(\xc2\x85 1,2)",
        "dxlgetbyte(1,1-2)",
        "dxlgetbyte(1,-)",
        "dxlgetbyte(1,--5)",
        "test(a,b)",
        "test(a,b,c,d)",
        "motortest(0,1,2,3)",
        " ",
        "%s%n",
    };
    for (const std::string piece : unknown) {
        const Outcome result = run("kinect;" + piece + ";usbsyspath;bar");
        EXPECT_EQ(result.status, 1) << piece;
        EXPECT_EQ(result.calls, Calls{}) << piece;
        std::string printed;
        for (const auto& line : result.errors) printed += line + "\n";
        EXPECT_EQ(printed, "2 visca_control: Unknown command\nUnknown command " + piece + "\n");
    }
}

// As long as a path can be, and a second at most where a pattern finds ever more ways to share out
// the blanks.
TEST(Dispatcher, DecidesLongPiecesAtOnce)
{
    const auto filled = [](const std::string& begin, char filling, const std::string& end,
                           size_t size = 4096) {
        return begin + std::string(size - begin.size() - end.size(), filling) + end;
    };
    const auto start = std::chrono::steady_clock::now();
    for (const std::string& piece :
         {filled("test(/dev/a,b,", 'c', ")"), filled("test(", ' ', "a,b,c)"),
          filled("test(a,b,c", ' ', ")"), filled("test(a", ' ', ",b,c)"),
          filled("pantilt(1,", ' ', "2)"), filled("test(a,", ')', "b,c)")})
        EXPECT_EQ(run(piece).status, 0) << piece;
    for (const std::string& piece :
         {filled("test(/dev/a,b,", 'c', ")", 4097), filled("pantilt(1,", ' ', "2)", 4097),
          filled("test(", ' ', ""), filled("test(", ' ', ",,"), filled("test(,", ' ', ",x"),
          filled("motortest(1", ' ', ""), filled("pantilt(", '-', ")")})
        EXPECT_EQ(run(piece).status, 1) << piece;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(Dispatcher, NamesTheUnknownPieceEvenWithTheLogOff)
{
    quill::setLogLevel(1);
    EXPECT_THAT(run("foo").errors, testing::ElementsAre("Unknown command foo"));
    quill::setLogLevel(quill::kDefaultLogLevel);
}
