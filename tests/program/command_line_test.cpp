#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "support/process.h"

namespace
{

using support::Ended;
using testing::HasSubstr;

Ended rigtool(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), RIGTOOL);
    return support::run(arguments);
}

std::string commandHelp()
{
    std::ifstream file(COMMAND_HELP);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(CommandLine, WithoutCommandsPrintsTheListOfCommands)
{
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {}, {"-t", "commands="}, {"-t", "device=/dev/none"}}) {
        const Ended ended = rigtool(arguments);
        EXPECT_EQ(ended.status, 0);
        EXPECT_EQ(ended.err, commandHelp());
        EXPECT_EQ(ended.out, "");
    }
}

TEST(CommandLine, LastValueOfASettingStandsAndMayHoldAnEqualsSign)
{
    const Ended ended = rigtool({"-t", "commands=foo", "-t", "device=/dev/a=b", "-t",
                                 "commands=getpantiltzoom", "-t", "margin1neg=-7"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.err, HasSubstr("/dev/a=b: open: No such file"));
    EXPECT_EQ(rigtool({"-t", "commands=x", "-t", "commands="}).err, commandHelp());
}

TEST(CommandLine, ListsDevicesWithoutTheirControlCharacters)
{
    const Ended ended = support::run(
        {RIGSIM, "--", "/bin/sh", "-c",
         "usb=$(readlink -f /sys/class/tty/ttyUSB1/device)/../..; "
         "printf 'Caf\303\251\033[31m\302\233m\233\n' >$usb/product; " RIGTOOL " --list-devices"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.out, HasSubstr("0403:6001  Caf\xc3\xa9\\x1b[31m\\xc2\\x9bm\\x9b  RIG00005"));
}

TEST(CommandLine, MistakesAreNamedAndNothingRuns)
{
    const struct
    {
        std::vector<std::string> arguments;
        const char* culprit;
        const char* valid;
    } cases[] = {
        {{"-t", "devcie=/dev/x"},
         "unknown setting 'devcie': did you mean 'device'?",
         "valid settings: commands device dxlbaudnum margin1neg margin1pos margin2"},
        {{"-t", "margin2=abc"},
         "setting 'margin2' cannot read 'abc'",
         "its type is int32, for example -t margin2=1"},
        {{"-t", "dxlbaudnum=99999999999"}, "cannot read '99999999999'", "int32"},
        {{"-t", "dxlbaudnum="}, "cannot read ''", "int32"},
        {{"-t", "commands"}, "-t commands has no '='", "-t NAME=VALUE"},
        {{"-t", ""}, "has no '='", "-t NAME=VALUE"},
        {{"-t"}, "-t: 1 required NAME=VALUE missing", "for example -t device="},
        {{"--log-level", "7"}, "7", "numbers from 0 to 6"},
        {{"--line-delay", "-1"}, "--line-delay: Value -1 not in range", "--help"},
        {{"--verson"},
         "unknown option '--verson': did you mean --version?",
         "valid options: -t, -v, -q,"},
        {{"stray"}, "stray argument 'stray'", "-t NAME=VALUE"},
        {{"-t", "device=/dev/x", "b\nc"}, "stray argument 'b\\nc'", "-t NAME=VALUE"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> arguments = {"-t", "commands=getpantiltzoom"};
        arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
        const Ended ended = rigtool(arguments);
        EXPECT_EQ(ended.status, 2) << c.culprit;
        EXPECT_THAT(ended.err, HasSubstr(c.culprit));
        EXPECT_THAT(ended.err, HasSubstr(c.valid));
        EXPECT_LE(std::count(ended.err.begin(), ended.err.end(), '\n'), 4);
        EXPECT_EQ(ended.out, "");
        EXPECT_THAT(ended.err, testing::Not(HasSubstr("visca"))) << "something ran";
    }
}

TEST(CommandLine, HelpShowsOptionsSettingsAndExamplesOnStandardOutput)
{
    const Ended ended = rigtool({"--help"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.err, "");
    for (const char* part :
         {"Usage: rigtool [OPTIONS]", "-t NAME=VALUE", "--log-break-level N", "--version",
          "  dxlbaudnum  int32   (default 34)", "  commands    string  (default empty)",
          "  device      string  (default /dev/ttyUSB0)",
          "  rigtool -t 'commands=pantiltzoom(100,-20,3);getpantiltzoom'"})
        EXPECT_THAT(ended.out, HasSubstr(part));
}

TEST(CommandLine, StandardOutputThatCannotBeWrittenIsTold)
{
    std::string list;
    while (list.size() < 100000) list += "usbsyspath;";
    const struct
    {
        std::string script;
        const char* err;
    } cases[] = {
        {"$0 --help >/dev/full", "standard output: No space left on device\n1\n"},
        {"$0 --version >&-", "standard output: Bad file descriptor\n1\n"},
        {"$0 --list-devices >/dev/full", "standard output: No space left on device\n1\n"},
        {"$0 --dry-run -t commands=kinect >&-", "standard output: Bad file descriptor\n1\n"},
        {"{ $0 -t 'commands=" + list + "'; echo $? >&2; } | head -1",
         "standard output: Broken pipe\n141\n0\n"},
        {"$0 -t commands=usbsyspath <&- 2>&-", "0\n"},
        {"$0 2>/dev/full", "1\n"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(support::run({"/bin/sh", "-c", c.script + "; echo $? >&2", RIGTOOL}).err, c.err)
            << c.script.substr(0, 60);
}

TEST(CommandLine, DryRunPrintsTheCallsAndOpensNothing)
{
    const std::string list =
        "pantilt( 100,-20);cbus(1,1);test(/dev/a,/dev/b,/dev/c);kinect;laser(01)";
    const Ended known = rigtool({"--dry-run", "-t", "device=/dev/none", "-t", "commands=" + list});
    EXPECT_EQ(known.status, 0);
    EXPECT_EQ(known.out,
              "pantilt(100,-20) on /dev/none\ncbus(1,1) on /dev/none\ntest(/dev/a,/dev/b,/dev/c)\n"
              "kinect\nlaser(1) on /dev/none\n");
    EXPECT_EQ(known.err, "");

    const Ended unknown = rigtool({"--dry-run", "-t", "commands=getpantiltzoom;foo"});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_EQ(unknown.out, "");
    EXPECT_THAT(unknown.err, testing::EndsWith("Unknown command foo\n"));
}

TEST(CommandLine, LogOptionsMoveTheThreshold)
{
    const std::vector<std::string> unplugged = {"-t", "device=/dev/none", "-t",
                                                "commands=getpantiltzoom"};
    const struct
    {
        std::vector<std::string> options;
        int lines;
    } cases[] = {
        {{}, 2},
        {{"-q"}, 2},
        {{"-qq"}, 1},
        {{"-q", "-q", "-q"}, 0},
        {{"-qqq", "-v"}, 1},
        {{"--log-level", "2"}, 1},
        {{"--log-level", "6"}, 2},
    };
    for (const auto& c : cases) {
        std::vector<std::string> arguments = c.options;
        arguments.insert(arguments.end(), unplugged.begin(), unplugged.end());
        const Ended ended = rigtool(arguments);
        EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), c.lines);
        EXPECT_EQ(ended.status, 0);
    }
}

TEST(CommandLine, BreakLevelStopsAfterTheRecord)
{
    const Ended ended = rigtool({"--log-break-level", "2", "-t", "device=/dev/none", "-t",
                                 "commands=getpantiltzoom;getpantiltzoom"});
    EXPECT_EQ(ended.status, 128 + SIGTRAP);
    EXPECT_THAT(ended.err, HasSubstr("Failed to open VISCA camera."));
    EXPECT_THAT(ended.err, testing::EndsWith("Assertion failed: Reached terminating log level. "
                                             "Terminating\n"));
}

TEST(CommandLine, UnknownCommandOfALongListIsFoundBeforeAnythingRuns)
{
    std::string list;
    while (list.size() < 100000) list += "getpantiltzoom;pantilt(-100, 20);";
    const Ended unknown = rigtool({"-t", "device=/dev/none", "-t", "commands=" + list + "foo"});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_THAT(
        unknown.err,
        testing::MatchesRegex(
            "[^\n]* \\[2\\] visca_control: Unknown command \\([^\n]*\\)\nUnknown command foo\n"));

    const Ended known = rigtool({"-qq", "-t", "device=/dev/none", "-t", "commands=" + list});
    EXPECT_EQ(known.status, 0);
    EXPECT_EQ(std::count(known.err.begin(), known.err.end(), '\n'),
              std::count(list.begin(), list.end(), ';'))
        << "each ran";
}

}  // namespace
