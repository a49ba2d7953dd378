#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>

#include "support/process.h"

namespace
{

namespace fs = std::filesystem;

/// Runs shell commands in a folder of its own, which is TMPDIR too: what rigsim leaves behind
/// shows.
class RigsimProgram : public testing::Test
{
  protected:
    RigsimProgram() { fs::create_directory(m_folder); }
    ~RigsimProgram() override { fs::remove_all(m_folder); }

    /// @return with both stdout and stderr in `out`
    support::Ended shell(const std::string& script) const
    {
        return support::run({"/bin/sh", "-c",
                             "exec 2>&1; cd '" + m_folder.string() +
                                 "'; export TMPDIR=$PWD PATH='" RIGSIM_FOLDER
                                 ":" RIGSIM_PROBE_FOLDER ":/usr/bin:/bin'\n" +
                                 script});
    }

    const fs::path m_folder = testing::TempDir() + "rigsim." + std::to_string(getpid());
};

TEST_F(RigsimProgram, EndsAsItsCommandDoes)
{
    const struct
    {
        const char* script;
        int status;
        const char* output;
    } cases[] = {
        {"rigsim -- sh -c 'exit 7'", 7, ""},
        {"echo in | rigsim -- cat", 0, "in\n"},
        {"rigsim -- echo --fault -- --help", 0, "--fault -- --help\n"},
        {"rigsim -- sh -c 'kill -PIPE $$'", 141, ""},
        {"rigsim -- no-such-command", 127, "rigsim: no-such-command: command not found\n"},
        {"rigsim -- /", 126, "rigsim: /: Permission denied\n"},
        {"TMPDIR=/nowhere; rigsim -- true", 125, "rigsim: temporary folder "},
        {"rigsim --help >/dev/full", 125, "rigsim: standard output: No space left on device"},
        // Ctrl-C reaches both: rigsim stays for the command, which keeps its own choice.
        {"rigsim -- sh -c 'kill -INT $PPID; echo goes on'", 0, "goes on\n"},
        {"rigsim -- sh -c 'kill -TERM $PPID; exec sleep 60'", 143, ""},
        {"rigsim --fault camera.unplug=0 -- sh -c 'while [ -e /dev/ttyUSB0 ]; do sleep 0.01; done; "
         "echo /dev/ttyUSB?'",
         0, "/dev/ttyUSB1 /dev/ttyUSB2\n"},
        {"rigsim", 2, "rigsim: no command given"},
        {"rigsim --fault camera.slow=x -- true", 2, "rigsim: bad value in 'camera.slow=x'"},
        {"rigsim --serve . -- true", 2, "rigsim: --serve takes no command"},
        {"rigsim --speed nan -- true", 2, "rigsim: --speed must be 0.01 to 1000\n"},
        {"touch camera; rigsim --serve . || rm camera", 0, "rigsim: filesystem error: "},
        {"ln -s /nowhere/tty camera; rigsim --serve . || rm camera", 0, "rigsim: filesystem error"},
    };
    for (const auto& c : cases) {
        const support::Ended ended = shell(c.script);
        EXPECT_EQ(ended.status, c.status) << c.script;
        EXPECT_THAT(ended.out, testing::StartsWith(c.output)) << c.script;
        EXPECT_TRUE(fs::is_empty(m_folder)) << c.script;
    }
}

TEST_F(RigsimProgram, GivesItsCommandARig)
{
    // One after the other, each alone on the line.
    const support::Ended runs = shell(
        "rigsim --fault camera.other-address --fault servos.overload=1 --speed 10 --trace trace "
        "--state state -- sh -c 'stat -c %t:%T /dev/ttyUSB0; "
        "cat $(readlink -f /sys/dev/char/188:0)/../../../../idProduct; "
        "name=/dev/serial/by-id/usb-FTDI_FT232R_USB_UART_RIG00004-if00-port0; "
        "readlink $name; stat -L -c %t:%T $name; serial_probe $name 9600 \"88 30 01 FF\"; "
        "serial_probe /dev/ttyUSB0 9600 \"88 30 01 FF\"; "
        "serial_probe /dev/ttyUSB0 9600 \"81 01 06 04 FF\"; "
        "serial_probe /dev/ttyUSB1 57143 \"FF FF 01 02 01 FB\" \"FF FF 02 04 02 03 01 F3\"'");
    EXPECT_EQ(runs.out,
              "bc:0\n6001\n../../ttyUSB0\nbc:0\n88 30 02 FF\n88 30 02 FF\nA0 41 FF\nFF FF 01 02 20 "
              "DC\nFF FF 02 03 00 02 F8\n");
    EXPECT_THAT(shell("cat trace state").out,
                testing::ContainsRegex("^ *[0-9.]+ camera received 88 30 01 FF\n"
                                       " *[0-9.]+ camera sent 88 30 02 FF\n.*"
                                       "\"packets\": 3,.*\"id\": 2,.*\"reads\": 1,"));
}

TEST_F(RigsimProgram, ServesPlainLinesUntilItIsTold)
{
    for (const std::string signal : {"INT", "TERM"}) {
        const support::Ended ended = shell(
            "mkfifo ready; rigsim --serve . --state state >ready & read line <ready; echo $line; "
            "serial_probe camera 9600 '88 30 01 FF'; "
            "serial_probe servos 57143 'FF FF 01 02 01 FB'; "
            // Locked and closed: free again as soon as rigsim has had its turn.
            "serial_probe laser 9600; until { printf '\\240\\1\\1\\242' >laser; } 2>/dev/null; do "
            "sleep 0.01; done; kill -" +
            signal +
            " $!; wait $!; echo $?; rm ready; ls; grep -o 'packets...1,\\|chedOn.*' state");
        EXPECT_EQ(ended.out,
                  "camera ./camera\n88 30 02 FF\nFF FF 01 02 00 FC\n0\nstate\npackets\": 1,\n"
                  "packets\": 1,\nchedOn\": 1\n");
    }
}

TEST_F(RigsimProgram, WaitsForNoReaderOfItsFiles)
{
    const support::Ended unread = shell("mkfifo f; timeout -k 1 20 rigsim --state f -- true");
    EXPECT_EQ(unread.status, 125);
    EXPECT_EQ(unread.out, "rigsim: f: nobody reads this FIFO (start its reader first)\n");

    // A reader that stalls: the FIFO holds some 3,000 lines.
    const support::Ended stalled = shell(
        "sleep 60 <f & reader=$!; mkfifo g; (cat >state) <g & "
        "timeout -k 1 50 rigsim --speed 1000 --trace f --state g -- sh -c 'for i in 1 2 3 4 5 6; "
        "do "
        "yes 0123456789012345678901234567890 | head -c 60000 >/dev/ttyUSB2; done'; "
        "echo $?; kill $reader; wait; grep -c packets state");
    EXPECT_THAT(stalled.out, testing::ContainsRegex(
                                 "^rigsim: f: its reader was too slow: [0-9]+ lines are missing\n"
                                 "0\n2\n"));
}

TEST_F(RigsimProgram, ServesAFolderAgainAfterItWasKilled)
{
    const support::Ended ended = shell(
        "mkfifo ready; rigsim --serve . >ready & first=$!; read line <ready; "
        "rigsim --serve . 2>&1 | sed s/$first/PID/; kill -9 $first; wait $first; "
        "rigsim --serve . >ready & read line <ready; serial_probe camera 9600 '88 30 01 FF'; "
        "kill $!; wait $!; echo $?; ls -d camera servos laser");
    EXPECT_THAT(ended.out,
                testing::StartsWith("rigsim: .: another rigsim serves it, process PID\n"));
    EXPECT_THAT(ended.out, testing::ContainsRegex("\n88 30 02 FF\n0\n(ls: .*\n){3}$"));
}

}  // namespace
