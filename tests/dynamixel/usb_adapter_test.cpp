#include "usb_adapter.h"

#include <gtest/gtest.h>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <tuple>
#include <utility>

#include "tools/rigsim/pty_line.h"

namespace
{

constexpr int kAdapter = -2;  // no descriptor that the system would know
serial_struct s_settings;
int s_refusal = 0;

}  // namespace

/// Stands in the place of the system's, with a driver of its own behind kAdapter.
extern "C" int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (fd != kAdapter) return static_cast<int>(::syscall(SYS_ioctl, fd, request, argument));
    if (s_refusal != 0) {
        errno = s_refusal;
        return -1;
    }
    auto* const settings = static_cast<serial_struct*>(argument);
    if (request == TIOCGSERIAL) *settings = s_settings;
    if (request == TIOCSSERIAL) {
        s_settings = *settings;
        std::fprintf(stderr, "flags %x\n", static_cast<unsigned>(s_settings.flags));
    }
    return 0;
}

namespace quill
{
namespace
{

namespace fs = std::filesystem;

TEST(LowLatency, IsPutBackToWhatItWas)
{
    const std::tuple<int, int, int> cases[] = {
        {0, ASYNC_LOW_LATENCY, 0},
        {ASYNC_SPD_CUST, ASYNC_SPD_CUST | ASYNC_LOW_LATENCY, 0},
        {ASYNC_LOW_LATENCY, ASYNC_LOW_LATENCY, 0},
        {0, 0, ENOTTY},
    };
    for (const auto& [before, during, refusal] : cases) {
        s_settings.flags = before;
        s_refusal = refusal;
        {
            const LowLatency lowLatency(kAdapter);
            EXPECT_EQ(s_settings.flags, during);
        }
        EXPECT_EQ(s_settings.flags, before);
    }
}

TEST(LowLatencyDeathTest, IsPutBackWhenTheRunIsInterrupted)
{
    s_settings = {};
    s_refusal = 0;
    const auto interruptedRun = [] {
        watchInterrupts();
        const LowLatency lowLatency(kAdapter);
        std::raise(SIGTERM);
        sleep(seconds(60));
    };
    EXPECT_EXIT(interruptedRun(), testing::KilledBySignal(SIGTERM), "flags 2000\nflags 0\n");
}

TEST(UsbAdapter, ComputesWhatAnFt232rMakesOfABitRate)
{
    const std::pair<int, int> cases[] = {
        {9600, 9600},       {9615, 9615},       {57143, 57143},     {117647, 117647},
        {1000000, 1000000}, {1400000, 1411765}, {2000000, 2000000}, {2250000, 2000000},
        {2500000, 2000000}, {3000000, 3000000}, {4000000, 3000000}, {1, 183},
    };
    for (const auto& [asked, made] : cases) EXPECT_EQ(ftdiBitRate(asked), made) << asked;
}

TEST(UsbAdapter, KnowsDriverChipAndLatencyTimer)
{
    const rigsim::PtyLine line;
    const UsbAdapter pseudoTerminal(line.path());
    EXPECT_EQ(pseudoTerminal.latency(), Duration());
    EXPECT_EQ(pseudoTerminal.bitRate(2250000), 2250000);

    // The system's description of an adapter, below a folder of the test.
    const fs::path root = testing::TempDir() + "usb_adapter_test.sysfs";
    const fs::path device = root / "devices/usb1/1-4/1-4:1.0/ttyUSB0";
    struct stat node = {};
    ASSERT_EQ(::stat(line.path().c_str(), &node), 0);
    fs::create_directories(device / "tty/ttyUSB0");
    fs::create_directories(root / "dev/char");
    fs::create_directory_symlink(
        device / "tty/ttyUSB0",
        root / "dev/char" /
            (std::to_string(major(node.st_rdev)) + ":" + std::to_string(minor(node.st_rdev))));

    const std::tuple<const char*, const char*, const char*, int, int> cases[] = {
        {"ftdi_sio", "0600", "16", 2000000, 16}, {"ftdi_sio", "0600", "1", 2000000, 1},
        {"ftdi_sio", "1000", "1", 2000000, 1},  // FT-X
        {"ftdi_sio", "0900", "1", 2250000, 1},  // FT232H
        {"ftdi_sio", "", "1", 2000000, 1},      // not told
        {"cdc_acm", "0100", "", 2250000, 4},
    };
    for (const auto& [driver, release, timer, bitRate, latencyMs] : cases) {
        SCOPED_TRACE(testing::Message() << driver << " " << release << " " << timer);
        std::ofstream(device / "uevent") << "DEVTYPE=x\nDRIVER=" << driver << "\n";
        std::ofstream(device / "../../bcdDevice") << release << "\n";
        std::ofstream(device / "latency_timer") << timer << "\n";
        const UsbAdapter adapter(line.path(), root);
        EXPECT_EQ(adapter.bitRate(2250000), bitRate);
        EXPECT_EQ(adapter.latency(), milliseconds(latencyMs));
    }
    fs::remove_all(root);
}

}  // namespace
}  // namespace quill
