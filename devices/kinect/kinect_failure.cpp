#include "kinect_failure.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <optional>

#include "devices/usb/node_holder.h"
#include "devices/usb/usb_device.h"

namespace quill
{
namespace
{

namespace fs = std::filesystem;

constexpr const char* kDevices = "/sys/bus/usb/devices/";
constexpr int kUsb3SpeedMbit = 5000;

/// How the error of the library's stand-in begins when no simulated sensor is named.
constexpr const char* kStandIn = "this build has no libfreenect2";

constexpr int kMicrosoft = 0x045E;
constexpr int kSensorProducts[] = {0x02C4, 0x02D8};
constexpr int kHubProduct = 0x02D9;

/// What the system lists of a Kinect: the sensor, and before it a hub of USB 3, which at such a
/// port is two devices, one for each speed. The hub has its power from the port, the sensor has
/// not.
struct KinectOnUsb
{
    std::optional<UsbDevice> sensor;
    int hubSpeedMbit = 0;  ///< of the faster half; 0: no hub
};

KinectOnUsb findOnUsb(const std::string& root)
{
    KinectOnUsb found;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(root + kDevices, none)) {
        const UsbDevice device = describeUsbDevice(entry.path());
        if (device.vendor != kMicrosoft) continue;
        const auto* const end = std::end(kSensorProducts);
        if (std::find(std::begin(kSensorProducts), end, device.product) != end)
            found.sensor = device;
        else if (device.product == kHubProduct)
            found.hubSpeedMbit = std::max(found.hubSpeedMbit, device.speedMbit);
    }
    return found;
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

/// @param node  of the sensor; empty where the system does not list it
Error heldByAnother(const std::string& subject, const std::string& step, const std::string& node,
                    const std::string& root)
{
    const std::string holder = node.empty() ? "" : nodeHolder(root + node);
    return {subject, step, 0,
            "the sensor is held by " + (holder.empty() ? "another program" : holder),
            holder.empty() && !node.empty() ? "sudo fuser -v " + node + " shows which; end it"
                                            : "end it"};
}

/// Nothing to open: the hub tells more, where it is there.
Error notFound(const KinectOnUsb& found, const std::string& says)
{
    const std::string hub = "only the hub before the sensor is on the USB bus";
    if (found.hubSpeedMbit == 0)
        return {"Kinect", "find", 0, "no sensor on the USB bus" + says,
                "plug it in and check its power supply"};
    if (found.hubSpeedMbit < kUsb3SpeedMbit)
        return {"Kinect", "find", 0,
                hub + ", at " + std::to_string(found.hubSpeedMbit) +
                    " Mbit/s: the port is none of USB 3, or the sensor has no power",
                "plug it into a USB 3 port and check its power supply"};
    return {"Kinect", "find", 0, hub + ": the sensor has no power", "check its power supply"};
}

}  // namespace

bool tellsOfMissingPermission(const std::string& libraryError)
{
    return libraryError.find("LIBUSB_ERROR_ACCESS") != std::string::npos;
}

Error kinectFailure(const std::string& step, const std::string& libraryError,
                    const std::string& root)
{
    if (libraryError.find(kStandIn) == 0)
        return {"Kinect", step, 0, libraryError, "build it with libfreenect2, as the README shows"};

    const KinectOnUsb found = findOnUsb(root);
    const std::string node = found.sensor ? found.sensor->nodePath() : "";
    const std::string subject =
        found.sensor ? "Kinect at USB port " + portOf(*found.sensor) : "Kinect";
    const std::string says = libraryError.empty() ? "" : "; the library says: " + libraryError;

    if (tellsOfMissingPermission(libraryError)) return noPermission(node.empty() ? subject : node);
    if (libraryError.find("LIBUSB_ERROR_BUSY") != std::string::npos)
        return heldByAnother(subject, step, node, root);
    if (!found.sensor && step == "find") return notFound(found, says);
    if (found.sensor && found.sensor->speedMbit != 0 && found.sensor->speedMbit < kUsb3SpeedMbit)
        return {subject, step, 0,
                "the port runs at " + std::to_string(found.sensor->speedMbit) +
                    " Mbit/s, the sensor needs 5000",
                "plug it into a USB 3 port"};
    if (found.sensor && ::access((root + node).c_str(), R_OK | W_OK) != 0 && errno == EACCES)
        return noPermission(node);
    return {subject, step, 0, "the sensor is there, but fails" + says,
            "unplug it and plug it in again; no other program may hold it"};
}

std::string kinectSysPath()
{
    const KinectOnUsb found = findOnUsb("");
    return found.sensor ? found.sensor->sysPath : "";
}

}  // namespace quill
