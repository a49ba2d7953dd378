#include "kinect_failure.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/folder.h"

namespace quill
{
namespace
{

namespace fs = std::filesystem;

constexpr const char* kAccess = "failed to open Kinect v2: LIBUSB_ERROR_ACCESS Access denied";
constexpr const char* kPermissionRemedy =
    " (add a udev rule for vendor 045e, products 02c4, 02d8, 02d9 with GROUP=\"plugdev\", "
    "MODE=\"0660\", and yourself to that group)";

/// The USB devices of a system in a folder: a mouse at 1-1 and, with a product, a Kinect at 2-4.
class FakeSystem
{
  public:
    FakeSystem(const std::string& product, const std::string& speed)
    {
        addDevice("1-1", "046d", "c077", "1.5");
        if (!product.empty()) addDevice("2-4", "045e", product, speed);
        fs::create_directories(m_root / "dev/bus/usb/002");
        std::ofstream(m_root / "dev/bus/usb/002/017") << "";
    }

    std::string root() const { return m_root; }

  private:
    void addDevice(const std::string& port, const std::string& vendor, const std::string& product,
                   const std::string& speed) const
    {
        const fs::path folder = m_root / "sys/bus/usb/devices" / port;
        fs::create_directories(folder);
        std::ofstream(folder / "idVendor") << vendor << "\n";
        std::ofstream(folder / "idProduct") << product << "\n";
        std::ofstream(folder / "speed") << speed << "\n";
        std::ofstream(folder / "busnum") << "2\n";
        std::ofstream(folder / "devnum") << "17\n";
    }

    const support::Folder m_folder;
    const fs::path& m_root = m_folder.path();
};

TEST(KinectFailure, NamesCauseAndRemedy)
{
    const std::string permission = ": open: Permission denied" + std::string(kPermissionRemedy);
    const struct
    {
        const char* product;
        const char* speed;
        const char* step;
        const char* libraryError;
        std::string text;
    } cases[] = {
        {"", "", "find", "",
         "Kinect: find: no sensor on the USB bus (plug it in and check its power supply)"},
        {"", "", "find", "no bus",
         "Kinect: find: no sensor on the USB bus; the library says: no bus (plug it in and check "
         "its power supply)"},
        {"", "", "find", kAccess, "Kinect" + permission},
        {"02c4", "5000", "find", kAccess, "/dev/bus/usb/002/017" + permission},
        {"02d9", "480", "find", "",
         "Kinect at USB port 2-4: find: the port runs at 480 Mbit/s, the sensor needs 5000 (plug "
         "it into a USB 3 port)"},
        {"02d8", "5000", "start", "transfer failed",
         "Kinect at USB port 2-4: start: the sensor is there, but fails; the library says: "
         "transfer failed (unplug it and plug it in again; no other program may hold it)"},
    };
    for (const auto& c : cases) {
        const FakeSystem system(c.product, c.speed);
        EXPECT_EQ(kinectFailure(c.step, c.libraryError, system.root()).text(), c.text);
    }
}

}  // namespace
}  // namespace quill
