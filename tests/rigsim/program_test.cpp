#include <gmock/gmock.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace
{

namespace fs = std::filesystem;
using testing::ContainsRegex;
using testing::HasSubstr;

const std::string kProbe = RIGSIM_PROBE;

/// Runs shell commands in a folder of its own, which is TMPDIR too: what rigsim leaves behind
/// shows.
class RigsimProgram : public testing::Test
{
  protected:
    struct Result
    {
        int status = -1;
        std::string output;  // of both stdout and stderr
    };

    RigsimProgram()
    {
        std::string name = (fs::temp_directory_path() / "rigsim_test.XXXXXX").string();
        if (!mkdtemp(name.data())) std::abort();
        m_folder = name;
        // A suite in the background of a script begins with these ignored, and commands inherit it.
        for (const int signal : {SIGINT, SIGQUIT, SIGHUP}) std::signal(signal, SIG_DFL);
    }
    ~RigsimProgram() override { fs::remove_all(m_folder); }

    Result shell(const std::string& script) const
    {
        const std::string head = "exec 2>&1; cd '" + m_folder.string() +
                                 "'; export TMPDIR=$PWD PATH='" RIGSIM_FOLDER ":'$PATH\n";
        Result result;
        std::FILE* const pipe = popen((head + script).c_str(), "re");
        char block[4096];
        while (const size_t got = std::fread(block, 1, sizeof block, pipe))
            result.output.append(block, got);
        const int status = pclose(pipe);
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        return result;
    }

    std::string read(const char* file) const
    {
        std::ostringstream text;
        text << std::ifstream(m_folder / file).rdbuf();
        return text.str();
    }

    fs::path m_folder;
};

TEST_F(RigsimProgram, EndsAsItsCommandDoes)
{
    const struct
    {
        const char* script;
        int status;
        const char* output;
    } cases[] = {
        {"rigsim -- true", 0, ""},
        {"rigsim -- sh -c 'exit 7'", 7, ""},
        {"echo in | rigsim -- sh -c 'cat; echo out; echo err >&2'", 0, "in\nout\nerr\n"},
        {"rigsim -- echo --fault -- --help", 0, "--fault -- --help\n"},
        {"rigsim -- sh -c 'kill -9 $$'", 137, ""},
        {"rigsim -- no-such-command", 127, "rigsim: no-such-command: command not found\n"},
        {"rigsim -- /", 126, "rigsim: /: Permission denied\n"},
        {"TMPDIR=/nowhere; rigsim -- echo ran", 125, "rigsim: temporary folder "},
        {"rigsim --state /nowhere/state -- echo ran", 125,
         "rigsim: /nowhere/state: No such file or directory\n"},
        // Ctrl-C reaches both: rigsim stays for the command, which keeps its own choice.
        {"rigsim -- sh -c 'kill -INT $PPID; echo goes on'", 0, "goes on\n"},
        {"rigsim -- sh -c 'kill -INT $$; echo goes on'", 130, ""},
        {"rigsim -- sh -c 'kill -TERM $PPID; exec sleep 60'", 143, ""},
        {"rigsim -- sh -c 'kill -HUP $PPID; exec sleep 60'", 129, ""},
    };
    for (const auto& c : cases) {
        const Result result = shell(c.script);
        EXPECT_EQ(result.status, c.status) << c.script;
        EXPECT_EQ(result.output.substr(0, std::string(c.output).size()), c.output) << c.script;
        EXPECT_EQ(result.output.find("ran"), std::string::npos) << c.script;
        EXPECT_TRUE(fs::is_empty(m_folder)) << c.script;
    }
}

TEST_F(RigsimProgram, TellsWrongUsageInAFewLines)
{
    const struct
    {
        const char* arguments;
        const char* message;
    } cases[] = {
        {"", "no command given"},
        {"true", "true"},
        {"--fault camera.slo=3 -- true",
         "unknown fault 'camera.slo', the nearest is camera.slow=MS"},
        {"--fault camera.slow=x -- true", "bad value in 'camera.slow=x'"},
        {"--fault -- true", "--fault"},
        {"--speed 0 -- true", "--speed"},
        {"--serve . -- true", "--serve takes no command"},
        {"--sped 3 -- true", "--sped"},
    };
    for (const auto& c : cases) {
        const Result result = shell(std::string("rigsim ") + c.arguments);
        EXPECT_EQ(result.status, 2) << c.arguments;
        EXPECT_THAT(result.output, HasSubstr(c.message));
        EXPECT_LE(std::count(result.output.begin(), result.output.end(), '\n'), 4) << c.arguments;
    }
    const Result help = shell("rigsim --help 2>/dev/null");
    EXPECT_EQ(help.status, 0);
    for (const char* part : {"--serve DIR", "/dev/ttyUSB0", "/dev/ttyUSB1", "camera.unplug=SECONDS",
                             "servos.stuck[=ID]", "Examples:"})
        EXPECT_THAT(help.output, HasSubstr(part));
}

TEST_F(RigsimProgram, GivesItsCommandARig)
{
    const Result tree = shell(
        "rigsim -- sh -c 'stat -c %t:%T /dev/ttyUSB0; "
        "cat $(readlink -f /sys/dev/char/188:0)/../../../../idProduct'");
    EXPECT_EQ(tree.output.substr(0, 5), "bc:0\n");
    EXPECT_THAT(tree.output, HasSubstr("6001"));

    EXPECT_EQ(shell("rigsim -- " + kProbe + " /dev/ttyUSB0 57143").output,
              "57143 bit/s, exclusive\n");
    // One after the other, each alone on the line.
    const std::string probe = kProbe + " /dev/ttyUSB0 9600 ";
    const Result runs = shell("rigsim --fault camera.other-address --speed 10 --trace trace " +
                              ("--state state -- sh -c '" + probe) + "\"88 30 01 FF\"; " + probe +
                              "\"81 01 06 04 FF\"'");
    EXPECT_EQ(runs.output, "9600 bit/s, exclusive\n88 30 02 FF\n9600 bit/s, exclusive\nA0 41 FF\n");
    EXPECT_THAT(read("trace"), ContainsRegex("^ *[0-9.]+ camera received 88 30 01 FF\n"
                                             " *[0-9.]+ camera sent 88 30 02 FF\n"));
    EXPECT_THAT(read("state"), HasSubstr("\"packets\": 2,"));

    const Result ping = shell("rigsim --fault servos.overload=1 --state state -- " + kProbe +
                              " /dev/ttyUSB1 57143 'FF FF 01 02 01 FB' 'FF FF 02 04 02 03 01 F3'");
    EXPECT_EQ(ping.output, "57143 bit/s, exclusive\nFF FF 01 02 20 DC\nFF FF 02 03 00 02 F8\n");
    EXPECT_THAT(read("state"), ContainsRegex("\"servos\": .*\"id\": 2,.*\"reads\": 1,"));
}

TEST_F(RigsimProgram, ServesPlainLinesUntilItIsTold)
{
    for (const char* signal : {"INT", "TERM"}) {
        const Result result =
            shell(std::string("mkfifo ready; rigsim --serve . --state state >ready & "
                              "read line <ready; echo \"$line\"; ") +
                  kProbe + " camera 9600 '88 30 01 FF'; " + kProbe +
                  " servos 57143 'FF FF 01 02 01 FB'; kill -" + signal +
                  " $!; wait $!; echo $?; rm ready");
        EXPECT_EQ(result.output,
                  "camera ./camera\n9600 bit/s, exclusive\n88 30 02 FF\n"
                  "57143 bit/s, exclusive\nFF FF 01 02 00 FC\n0\n");
        EXPECT_THAT(read("state"), HasSubstr("\"packets\": 1,"));
        EXPECT_FALSE(fs::exists(fs::symlink_status(m_folder / "camera")));
        EXPECT_FALSE(fs::exists(fs::symlink_status(m_folder / "servos")));
    }
    const Result taken = shell("touch camera; rigsim --serve .; echo $?");
    EXPECT_THAT(taken.output, HasSubstr("File exists"));
    EXPECT_THAT(taken.output, HasSubstr("125\n"));
    EXPECT_TRUE(fs::exists(m_folder / "camera")) << "not ours to remove";
}

}  // namespace
