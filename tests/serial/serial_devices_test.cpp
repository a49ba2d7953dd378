#include "devices/serial/serial_devices.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "devices/serial/serial_port.h"
#include "support/folder.h"
#include "tools/rigsim/pty_line.h"

namespace quill
{
namespace
{

namespace fs = std::filesystem;

TEST(SerialDevices, TellsWhatIsThereAndWhoUsesIt)
{
    const support::Folder folder;
    const fs::path& root = folder.path();
    const fs::path sysfs = root / "sys";
    const fs::path dev = root / "dev";
    const fs::path usb = sysfs / "devices/usb1/1-4";
    const fs::path tty = usb / "1-4:1.0/ttyUSB0/tty/ttyUSB0";
    for (const fs::path& made : {tty, sysfs / "class/tty", sysfs / "class/tty/ttyS0/device",
                                 sysfs / "class/tty/ttyS1/device", sysfs / "class/tty/console",
                                 sysfs / "dev/char", dev / "serial/by-id"})
        fs::create_directories(made);
    std::ofstream(sysfs / "class/tty/ttyS0/type") << "0\n";  // no chip behind the port
    std::ofstream(sysfs / "class/tty/ttyS1/type") << "4\n";
    std::ofstream(usb / "uevent") << "DEVTYPE=usb_device\n";
    std::ofstream(usb / "idVendor") << "0403\n";
    std::ofstream(usb / "idProduct") << "6001\n";
    std::ofstream(usb / "product") << "FT232R USB UART\n";
    std::ofstream(usb / "serial") << "A1\n";

    const rigsim::PtyLine line;
    struct stat node = {};
    ASSERT_EQ(::stat(line.path().c_str(), &node), 0);
    const std::string number =
        std::to_string(major(node.st_rdev)) + ":" + std::to_string(minor(node.st_rdev));
    fs::create_directory_symlink("../..", tty / "device");
    fs::create_directory_symlink(sysfs / "class/tty", tty / "subsystem");
    fs::create_directory_symlink(tty, sysfs / "class/tty/ttyUSB0");
    fs::create_directory_symlink(tty, sysfs / "dev/char" / number);
    fs::create_symlink(line.path(), dev / "ttyUSB0");
    const fs::path stable = dev / "serial/by-id/usb-FTDI_FT232R_USB_UART_A1-if00-port0";
    fs::create_symlink("../../ttyUSB0", stable);

    SerialPort port;
    ASSERT_EQ(port.open(line.path(), 9600), std::nullopt);
    const auto devices = serialDevices(sysfs, dev);
    ASSERT_EQ(devices.size(), 2u);
    EXPECT_EQ(devices[0].path, dev / "ttyS1");
    EXPECT_FALSE(devices[0].usb);
    EXPECT_FALSE(devices[0].mayOpen) << "it has no node";

    EXPECT_EQ(devices[1].path, dev / "ttyUSB0");
    EXPECT_EQ(devices[1].stablePath, stable);
    ASSERT_TRUE(devices[1].usb);
    EXPECT_EQ(devices[1].usb->productName, "FT232R USB UART");
    EXPECT_EQ(devices[1].usb->serialNumber, "A1");
    EXPECT_EQ(devices[1].usb->sysPath, usb);
    EXPECT_TRUE(devices[1].mayOpen);
    EXPECT_EQ(devices[1].holder, "serial_port_tes, process " + std::to_string(::getpid()));
}

}  // namespace
}  // namespace quill
