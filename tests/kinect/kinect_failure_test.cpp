#include "kinect_failure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <vector>

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

struct Device
{
    const char* port;
    const char* vendor;
    const char* product;
    const char* speed;
};
using Devices = std::vector<Device>;

/// The USB devices of a system in a folder, each with a node that can be opened.
class FakeSystem
{
  public:
    explicit FakeSystem(const Devices& devices)
    {
        fs::create_directories(m_root / "dev/bus/usb/002");
        for (const Device& device : devices) add(device);
    }

    std::string root() const { return m_root; }

  private:
    void add(const Device& device)
    {
        const fs::path folder = m_root / "sys/bus/usb/devices" / device.port;
        const int number = m_number++;
        fs::create_directories(folder);
        std::ofstream(folder / "idVendor") << device.vendor << "\n";
        std::ofstream(folder / "idProduct") << device.product << "\n";
        std::ofstream(folder / "speed") << device.speed << "\n";
        std::ofstream(folder / "busnum") << "2\n";
        std::ofstream(folder / "devnum") << number << "\n";
        std::ofstream(m_root / "dev/bus/usb/002" / ("0" + std::to_string(number))) << "";
    }

    int m_number = 17;
    const support::Folder m_folder;
    const fs::path& m_root = m_folder.path();
};

constexpr const char* kBusy = "failed to claim interface: LIBUSB_ERROR_BUSY Resource busy";
constexpr Device kMouse = {"1-1", "046d", "c077", "1.5"};
constexpr Device kSensor = {"2-4.1", "045e", "02c4", "5000"};
constexpr Device kFastHub = {"2-4", "045e", "02d9", "5000"};
constexpr Device kSlowHub = {"1-4", "045e", "02d9", "480"};

TEST(KinectFailure, NamesCauseAndRemedy)
{
    const std::string permission = ": open: Permission denied" + std::string(kPermissionRemedy);
    const std::string at = "Kinect at USB port 2-4.1: ";
    const Devices none = {kMouse};
    const struct
    {
        Devices devices;
        const char* step;
        const char* libraryError;
        std::string text;
    } cases[] = {
        {none, "find", "",
         "Kinect: find: no sensor on the USB bus (plug it in and check its power supply)"},
        {none, "find", "no bus",
         "Kinect: find: no sensor on the USB bus; the library says: no bus (plug it in and check "
         "its power supply)"},
        {none, "find", "this build has no libfreenect2, only a stand-in",
         "Kinect: find: this build has no libfreenect2, only a stand-in (build it with "
         "libfreenect2, as the README shows)"},
        {none, "find", kAccess, "Kinect" + permission},
        {none, "open", kBusy, "Kinect: open: the sensor is held by another program (end it)"},
        {{kSlowHub, kFastHub, kMouse},
         "find",
         "",
         "Kinect: find: only the hub before the sensor is on the USB bus: the sensor has no power "
         "(check its power supply)"},
        {{kSlowHub, kMouse},
         "find",
         "",
         "Kinect: find: only the hub before the sensor is on the USB bus, at 480 Mbit/s: the port "
         "is none of USB 3, or the sensor has no power (plug it into a USB 3 port and check its "
         "power supply)"},
        {{{"2-4.1", "045e", "02d8", "480"}},
         "start",
         "transfer failed",
         at + "start: the port runs at 480 Mbit/s, the sensor needs 5000 (plug it into a USB 3 "
              "port)"},
        {{{"2-4.1", "045e", "02d8", ""}},
         "start",
         "transfer failed",
         at + "start: the sensor is there, but fails; the library says: transfer failed (unplug it "
              "and plug it in again; no other program may hold it)"},
    };
    for (const auto& c : cases) {
        const FakeSystem system(c.devices);
        EXPECT_EQ(kinectFailure(c.step, c.libraryError, system.root()).text(), c.text);
    }
}

// The system lists the devices in no useful order: whatever it is, the sensor counts.
TEST(KinectFailure, TellsTheSensorFromTheHalvesOfItsHub)
{
    Devices devices = {kFastHub, kMouse, kSensor, kSlowHub};
    for (size_t turn = 0; turn < devices.size(); ++turn) {
        std::rotate(devices.begin(), devices.begin() + 1, devices.end());
        const FakeSystem system(devices);
        const auto it = std::find_if(devices.begin(), devices.end(),
                                     [](const Device& d) { return d.port == kSensor.port; });
        const std::string node = "/dev/bus/usb/002/0" + std::to_string(17 + (it - devices.begin()));
        EXPECT_EQ(kinectFailure("find", kAccess, system.root()).subject, node);
        EXPECT_EQ(kinectFailure("open", kBusy, system.root()).text(),
                  "Kinect at USB port 2-4.1: open: the sensor is held by another program (sudo "
                  "fuser -v " +
                      node + " shows which; end it)");
    }
}

}  // namespace
}  // namespace quill
