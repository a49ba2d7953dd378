#include "devices/usb/usb_device.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <filesystem>
#include <fstream>

#include "support/folder.h"
#include "tools/rigsim/pty_line.h"

namespace quill
{
namespace
{

namespace fs = std::filesystem;

/// A system's description of devices below a folder of the test. The pseudo terminal `line` has
/// the device number of the tty that is described.
class UsbDeviceLookUp : public testing::Test
{
  protected:
    UsbDeviceLookUp()
    {
        fs::create_directories(m_root / "dev/char");
        fs::create_directories(m_root / "class/tty");
    }

    void addUsbDevice(const std::string& folder, const std::string& busnum,
                      const std::string& devnum)
    {
        fs::create_directories(m_root / folder);
        const auto write = [&](const char* name, const std::string& text) {
            std::ofstream(m_root / folder / name) << text << "\n";
        };
        write("uevent", "MAJOR=189\nDEVTYPE=usb_device\nDRIVER=usb");
        write("busnum", busnum);
        write("devnum", devnum);
        write("idVendor", "0403");
        write("idProduct", "6001");
        write("bcdDevice", "0600");
    }

    void addTty(const std::string& folder, const std::string& subsystem = "tty")
    {
        fs::create_directories(m_root / folder);
        fs::create_directory_symlink(m_root / "class" / subsystem, m_root / folder / "subsystem");
        struct stat node = {};
        ASSERT_EQ(::stat(line.path().c_str(), &node), 0);
        fs::create_directory_symlink(m_root / folder, m_root / "dev/char" / numberOf(node));
    }

    void setDriver(const std::string& folder, const std::string& driver)
    {
        std::ofstream(m_root / folder / "uevent") << "DRIVER=" << driver << "\n";
    }

    static std::string numberOf(const struct stat& node)
    {
        return std::to_string(major(node.st_rdev)) + ":" + std::to_string(minor(node.st_rdev));
    }

    const rigsim::PtyLine line;
    const support::Folder m_folder;
    const fs::path& m_root = m_folder.path();
};

TEST_F(UsbDeviceLookUp, FindsTheNearestUsbDeviceBehindHubsAndLinks)
{
    const std::string hub = "devices/pci0000:00/0000:00:14.0/usb1/1-2";
    addUsbDevice("devices/pci0000:00/0000:00:14.0/usb1", "1", "1");
    addUsbDevice(hub, "1", "9");
    addUsbDevice(hub + "/1-2.4/1-2.4.1", "1", "117");
    const std::string port = hub + "/1-2.4/1-2.4.1/1-2.4.1:1.0/ttyUSB3";
    addTty(port + "/tty/ttyUSB3");
    setDriver(port, "ftdi_sio");
    const fs::path link = m_root / "usb-FTDI_FT232R_USB_UART_A1-if00-port0";
    fs::create_symlink(line.path(), link);

    for (const std::string& path : {line.path(), link.string()}) {
        const auto found = findUsbDevice(path, m_root);
        ASSERT_TRUE(found) << path;
        EXPECT_EQ(found->sysPath, (m_root / hub).string() + "/1-2.4/1-2.4.1");
        EXPECT_EQ(found->nodePath(), "/dev/bus/usb/001/117");
        EXPECT_EQ(found->vendor, 0x0403);
        EXPECT_EQ(found->product, 0x6001);
        EXPECT_EQ(found->release, 0x0600);
        EXPECT_EQ(found->ttyDriver, "ftdi_sio");
    }
}

TEST_F(UsbDeviceLookUp, FindsNothingForATtyThatIsNotOnUsb)
{
    addTty("devices/platform/serial8250/tty/ttyS0");
    EXPECT_FALSE(findUsbDevice(line.path(), m_root));
}

TEST_F(UsbDeviceLookUp, FindsItAboveEveryKindOfNodeAndTellsADriverOfTtysOnly)
{
    addUsbDevice("devices/usb1/1-4", "1", "4");
    const std::string video = "devices/usb1/1-4/1-4:1.0";
    addTty(video + "/video4linux/video0", "video4linux");
    setDriver(video, "uvcvideo");
    const auto found = findUsbDevice(line.path(), m_root);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->sysPath, m_root / "devices/usb1/1-4");
    EXPECT_EQ(found->ttyDriver, "");
}

TEST_F(UsbDeviceLookUp, FindsNothingForWhatIsNoDevice)
{
    const fs::path file = m_root / "file";
    const fs::path dangling = m_root / "dangling";
    std::ofstream(file) << "text";
    fs::create_symlink("/dev/ttyMissing", dangling);
    for (const std::string& path : {std::string(), std::string("/dev/ttyMissing"), file.string(),
                                    dangling.string(), line.path(), m_root.string()})
        EXPECT_FALSE(findUsbDevice(path, m_root)) << path;

    std::string sysPath = "what was there before";
    EXPECT_FALSE(getDeviceSysPath(dangling, &sysPath));
    EXPECT_EQ(sysPath, "");
}

}  // namespace
}  // namespace quill
