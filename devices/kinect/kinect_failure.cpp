#include "kinect_failure.h"

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <optional>

#include "devices/usb/usb_device.h"

namespace quill
{
namespace
{

namespace fs = std::filesystem;

constexpr const char* kDevices = "/sys/bus/usb/devices/";
constexpr int kUsb3SpeedMbit = 5000;

bool isKinect(const UsbDevice& device)
{
    const int product = device.product;
    return device.vendor == 0x045E && (product == 0x02C4 || product == 0x02D8 || product == 0x02D9);
}

/// A sensor, or at least the hub inside it, as the system lists it.
std::optional<UsbDevice> findOnUsb(const std::string& root)
{
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(root + kDevices, none)) {
        UsbDevice device = describeUsbDevice(entry.path());
        if (isKinect(device)) return device;
    }
    return std::nullopt;
}

/// "2-1": the numbers of the bus and of the ports on the way.
std::string portOf(const UsbDevice& device)
{
    return fs::path(device.sysPath).filename();
}

Error noPermission(const std::string& subject)
{
    return {subject, "open", EACCES, "",
            "add a udev rule for vendor 045e, products 02c4, 02d8, 02d9 with GROUP=\"plugdev\", "
            "MODE=\"0660\", and yourself to that group"};
}

}  // namespace

bool tellsOfMissingPermission(const std::string& libraryError)
{
    return libraryError.find("LIBUSB_ERROR_ACCESS") != std::string::npos;
}

Error kinectFailure(const std::string& step, const std::string& libraryError,
                    const std::string& root)
{
    const auto found = findOnUsb(root);
    const std::string subject = found ? "Kinect at USB port " + portOf(*found) : "Kinect";
    const std::string says = libraryError.empty() ? "" : "; the library says: " + libraryError;

    if (tellsOfMissingPermission(libraryError))
        return noPermission(found ? found->nodePath() : subject);
    if (!found && step == "find")
        return {subject, step, 0, "no sensor on the USB bus" + says,
                "plug it in and check its power supply"};
    if (found && found->speedMbit < kUsb3SpeedMbit)
        return {subject, step, 0,
                "the port runs at " + std::to_string(found->speedMbit) +
                    " Mbit/s, the sensor needs 5000",
                "plug it into a USB 3 port"};
    if (found && ::access((root + found->nodePath()).c_str(), R_OK | W_OK) != 0 && errno == EACCES)
        return noPermission(found->nodePath());
    return {subject, step, 0, "the sensor is there, but fails" + says,
            "unplug it and plug it in again; no other program may hold it"};
}

}  // namespace quill
