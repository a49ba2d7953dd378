#include "kinect_failure.h"

#include <dirent.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>

namespace quill
{
namespace
{

constexpr const char* kDevices = "/sys/bus/usb/devices/";
constexpr int kUsb3SpeedMbit = 5000;

/// A sensor, or at least the hub inside it, as the system lists it.
struct UsbKinect
{
    std::string port;  ///< "2-1"
    std::string node;  ///< "/dev/bus/usb/002/003"
    int speedMbit;     ///< 5000 at USB 3, 480 at USB 2
};

std::string readLine(const std::string& path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

bool isKinect(const std::string& folder)
{
    if (readLine(folder + "/idVendor") != "045e") return false;
    const std::string product = readLine(folder + "/idProduct");
    return product == "02c4" || product == "02d8" || product == "02d9";
}

UsbKinect describe(const std::string& folder, const std::string& port)
{
    const auto number = [&](const char* name) {
        return std::atoi(readLine(folder + "/" + name).c_str());
    };
    char node[64];
    std::snprintf(node, sizeof node, "/dev/bus/usb/%03d/%03d", number("busnum"), number("devnum"));
    return {port, node, number("speed")};
}

std::optional<UsbKinect> findOnUsb(const std::string& root)
{
    const std::string devices = root + kDevices;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(devices.c_str()), &::closedir);
    if (folder == nullptr) return std::nullopt;
    while (const dirent* entry = ::readdir(folder.get())) {
        const std::string port = entry->d_name;
        if (isKinect(devices + port)) return describe(devices + port, port);
    }
    return std::nullopt;
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
    const std::string subject = found ? "Kinect at USB port " + found->port : "Kinect";
    const std::string says = libraryError.empty() ? "" : "; the library says: " + libraryError;

    if (tellsOfMissingPermission(libraryError)) return noPermission(found ? found->node : subject);
    if (!found && step == "find")
        return {subject, step, 0, "no sensor on the USB bus" + says,
                "plug it in and check its power supply"};
    if (found && found->speedMbit < kUsb3SpeedMbit)
        return {subject, step, 0,
                "the port runs at " + std::to_string(found->speedMbit) +
                    " Mbit/s, the sensor needs 5000",
                "plug it into a USB 3 port"};
    if (found && ::access((root + found->node).c_str(), R_OK | W_OK) != 0 && errno == EACCES)
        return noPermission(found->node);
    return {subject, step, 0, "the sensor is there, but fails" + says,
            "unplug it and plug it in again; no other program may hold it"};
}

}  // namespace quill
