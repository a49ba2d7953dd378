#include "devices/serial/serial_port.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>

#include "support/folder.h"
#include "tools/rigsim/pty_line.h"

namespace quill
{
namespace
{

using rigsim::Bytes;
using rigsim::PtyLine;
using testing::StartsWith;

Time in(int milliseconds)
{
    return Time::now() + quill::milliseconds(milliseconds);
}

std::string failureToOpen(const std::string& path)
{
    SerialPort port;
    const auto error = port.open(path, 9600);
    EXPECT_FALSE(port.isOpen() && error);
    return error ? error->text() : "opened";
}

std::optional<Error> readAll(SerialPort* port, Bytes* bytes, size_t size, Time deadline)
{
    while (bytes->size() < size) {
        uint8_t buffer[16];
        size_t got = 0;
        if (auto error = port->readSome(buffer, sizeof buffer, &got, deadline)) return error;
        bytes->insert(bytes->end(), buffer, buffer + got);
    }
    return std::nullopt;
}

TEST(SerialPort, NamesCauseAndRemedyWhenItCannotOpen)
{
    const support::Folder folder;
    const std::string file = folder / "no_tty";
    std::ofstream(file) << "text";
    const std::string noLine = " (this is no serial line; ls /dev/ttyUSB* /dev/ttyACM* shows them)";
    const struct
    {
        std::string path;
        std::string text;
    } cases[] = {
        {"/dev/ttyMissing",
         "/dev/ttyMissing: open: No such file or directory (is it plugged in? ls /dev/ttyUSB* "
         "/dev/ttyACM* shows what is)"},
        {"/tmp", "/tmp: open: Is a directory" + noLine},
        {"/dev/null", "/dev/null: open: Inappropriate ioctl for device" + noLine},
        {file, file + ": open: Inappropriate ioctl for device" + noLine},
    };
    for (const auto& c : cases) EXPECT_EQ(failureToOpen(c.path), c.text);

    const PtyLine line;
    SerialPort holder;
    ASSERT_EQ(holder.open(line.path(), 9600), std::nullopt);
    EXPECT_EQ(failureToOpen(line.path()),
              line.path() +
                  ": open: Device or resource busy (it is held by serial_port_tes, process " +
                  std::to_string(::getpid()) + ")");
    holder.close();
    EXPECT_EQ(failureToOpen(line.path()), "opened");
}

// In a session of its own, whose terminal the line becomes when a leader opens it plainly.
TEST(SerialPortDeathTest, RefusesTheTerminalThatItRunsIn)
{
    const PtyLine line;
    const std::string cause = ": open: it is the terminal that this program was started from (";
    const auto refuses = [&] {
        (void)::setsid();
        (void)::open(line.path().c_str(), O_RDWR);
        const bool isRefused = failureToOpen("/dev/tty").rfind("/dev/tty" + cause, 0) == 0 &&
                               failureToOpen(line.path()).rfind(line.path() + cause, 0) == 0;
        const bool isOtherOpened = failureToOpen(PtyLine().path()) == "opened";
        std::_Exit(isRefused && isOtherOpened ? 0 : 1);
    };
    EXPECT_EXIT(refuses(), testing::ExitedWithCode(0), "");
}

TEST(SerialPortDeathTest, NamesTheGroupWhenItMayNotOpen)
{
    const PtyLine line;
    ASSERT_EQ(::chmod(line.path().c_str(), 0), 0);
    const auto openWithoutRights = [&line] {
        if (::geteuid() == 0 && ::setuid(65534) != 0) std::_Exit(1);
        std::fputs(failureToOpen(line.path()).c_str(), stderr);
        std::_Exit(0);
    };
    EXPECT_EXIT(openWithoutRights(), testing::ExitedWithCode(0),
                ": open: Permission denied \\(add yourself to the group dialout and log in "
                "again\\)");
}

TEST(SerialPort, SetsAnyBitRateExactly)
{
    const PtyLine line;
    for (const int bitRate : {9600, 38400, 57143, 117647, 1000000, 2000000}) {
        SerialPort port;
        EXPECT_EQ(port.open(line.path(), bitRate), std::nullopt);
        EXPECT_EQ(line.bitRate(), static_cast<unsigned>(bitRate));
    }
}

TEST(SerialPort, CarriesEveryByteUnchangedAndForgetsWhatWasThereBefore)
{
    PtyLine line;
    line.write({1, 2, 3});
    SerialPort port;
    ASSERT_EQ(port.open(line.path(), 9600), std::nullopt);
    Bytes all(256);
    for (size_t i = 0; i < all.size(); ++i) all[i] = static_cast<uint8_t>(i);

    ASSERT_EQ(port.write(all.data(), all.size(), in(1000)), std::nullopt);
    EXPECT_EQ(line.read(), all);
    line.write(all);
    Bytes received;
    EXPECT_EQ(readAll(&port, &received, all.size(), in(1000)), std::nullopt);
    EXPECT_EQ(received, all);
}

TEST(SerialPort, ReadEndsAtItsDeadlineWhateverInterruptsIt)
{
    struct sigaction ignoreAlarm = {};
    ignoreAlarm.sa_handler = [](int) {};
    struct sigaction before = {};
    ::sigaction(SIGALRM, &ignoreAlarm, &before);
    const itimerval everyMillisecond = {{0, 1000}, {0, 1000}};
    ::setitimer(ITIMER_REAL, &everyMillisecond, nullptr);

    const PtyLine line;
    SerialPort port;
    ASSERT_EQ(port.open(line.path(), 9600), std::nullopt);
    const Time start = Time::now();
    Bytes none;
    const auto error = readAll(&port, &none, 1, start + milliseconds(50));
    const Duration took = Time::now() - start;

    const itimerval never = {};
    ::setitimer(ITIMER_REAL, &never, nullptr);
    ::sigaction(SIGALRM, &before, nullptr);
    ASSERT_NE(error, std::nullopt);
    EXPECT_EQ(error->kind, ErrorKind::Silence);
    EXPECT_GE(took, milliseconds(50));
}

TEST(SerialPort, WriteEndsAtItsDeadlineWhenNothingIsTaken)
{
    const PtyLine line;
    SerialPort port;
    ASSERT_EQ(port.open(line.path(), 9600), std::nullopt);
    const Bytes tooMuch(1000000);
    const auto error = port.write(tooMuch.data(), tooMuch.size(), in(50));
    ASSERT_NE(error, std::nullopt);
    EXPECT_EQ(error->kind, ErrorKind::NotTaken);
}

TEST(SerialPort, PulledPlugIsAnErrorAtOnce)
{
    PtyLine line;
    SerialPort port;
    ASSERT_EQ(port.open(line.path(), 9600), std::nullopt);
    line.unplug();
    Bytes none;
    const auto readError = readAll(&port, &none, 1, in(60000));
    ASSERT_NE(readError, std::nullopt);
    EXPECT_EQ(readError->kind, ErrorKind::LineLost);
    EXPECT_THAT(readError->text(),
                StartsWith(line.path() + ": read: Input/output error (unplugged?)"));
    const uint8_t byte = 1;
    const auto writeError = port.write(&byte, 1, in(60000));
    ASSERT_NE(writeError, std::nullopt);
    EXPECT_EQ(writeError->kind, ErrorKind::LineLost);
}

}  // namespace
}  // namespace quill
