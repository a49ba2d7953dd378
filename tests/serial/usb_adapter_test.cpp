#include "usb_adapter.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <filesystem>
#include <fstream>
#include <tuple>
#include <utility>

#include "support/folder.h"
#include "tools/rigsim/pty_line.h"

namespace quill
{
namespace
{

namespace fs = std::filesystem;

TEST(UsbAdapter, ComputesWhatAnFt232rMakesOfABitRate)
{
    const std::pair<int, int> cases[] = {
        {9615, 9615},       {57143, 57143},     {1400000, 1411765}, {2250000, 2000000},
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
    const support::Folder folder;
    const fs::path& root = folder.path();
    const fs::path device = root / "devices/usb1/1-4/1-4:1.0/ttyUSB0";
    struct stat node = {};
    ASSERT_EQ(::stat(line.path().c_str(), &node), 0);
    fs::create_directories(device / "tty/ttyUSB0");
    fs::create_directories(root / "dev/char");
    fs::create_directory_symlink("/sys/class/tty", device / "tty/ttyUSB0/subsystem");
    std::ofstream(device / "../../uevent") << "DEVTYPE=usb_device\n";
    fs::create_directory_symlink(
        device / "tty/ttyUSB0",
        root / "dev/char" /
            (std::to_string(major(node.st_rdev)) + ":" + std::to_string(minor(node.st_rdev))));

    const std::tuple<const char*, const char*, const char*, int, int> cases[] = {
        {"ftdi_sio", "0600", "16", 2000000, 16}, {"ftdi_sio", "1000", "1", 2000000, 1},
        {"ftdi_sio", "0900", "1", 2250000, 1},   {"ftdi_sio", "", "1", 2000000, 1},
        {"cdc_acm", "0100", "", 2250000, 4},
    };
    for (const auto& [driver, release, timer, bitRate, latencyMs] : cases) {
        std::ofstream(device / "uevent") << "DRIVER=" << driver << "\n";
        std::ofstream(device / "../../bcdDevice") << release << "\n";
        std::ofstream(device / "latency_timer") << timer << "\n";
        const UsbAdapter adapter(line.path(), root);
        EXPECT_EQ(adapter.bitRate(2250000), bitRate) << driver << " " << release;
        EXPECT_EQ(adapter.latency(), milliseconds(latencyMs)) << driver << " " << timer;
    }
}

}  // namespace
}  // namespace quill
