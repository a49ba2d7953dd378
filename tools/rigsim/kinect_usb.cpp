#include "tools/rigsim/kinect_usb.h"

#include <fmt/format.h>

namespace rigsim
{
namespace
{

constexpr const char* kUsb3RootHub = R"(P: /devices/pci0000:00/0000:00:14.0/usb2
N: bus/usb/002/001
E: DEVTYPE=usb_device
E: DRIVER=usb
E: SUBSYSTEM=usb
A: busnum=2
A: devnum=1
A: dev=189:128
A: idVendor=1d6b
A: idProduct=0003
A: speed=5000
)";

// The hub before the sensor: of USB 3, hence two devices at the two halves of one port.
constexpr const char* kHubs = R"(
P: /devices/pci0000:00/0000:00:14.0/usb1/1-14
N: bus/usb/001/090
E: DEVTYPE=usb_device
E: DRIVER=usb
E: SUBSYSTEM=usb
A: busnum=1
A: devnum=90
A: dev=189:89
A: idVendor=045e
A: idProduct=02d9
A: bcdDevice=0100
A: product=Kinect Adapter
A: speed=480

P: /devices/pci0000:00/0000:00:14.0/usb2/2-1
N: bus/usb/002/002
E: DEVTYPE=usb_device
E: DRIVER=usb
E: SUBSYSTEM=usb
A: busnum=2
A: devnum=2
A: dev=189:129
A: idVendor=045e
A: idProduct=02d9
A: bcdDevice=0100
A: product=Kinect Adapter
A: speed={speed}
)";

constexpr const char* kSensor = R"(
P: /devices/pci0000:00/0000:00:14.0/usb2/2-1/2-1.1
N: bus/usb/002/003
E: DEVTYPE=usb_device
E: DRIVER=usb
E: SUBSYSTEM=usb
A: busnum=2
A: devnum=3
A: dev=189:130
A: idVendor=045e
A: idProduct=02c4
A: bcdDevice=0100
A: product=Kinect v2
A: serial=012345678947
A: speed={speed}
)";

}  // namespace

std::string kinectUsbTree(const KinectState& kinect)
{
    std::string tree = kUsb3RootHub;
    if (!kinect.isPlugged) return tree;
    tree += fmt::format(kHubs, fmt::arg("speed", kinect.usbSpeedMbit));
    if (kinect.hasPower) tree += fmt::format(kSensor, fmt::arg("speed", kinect.usbSpeedMbit));
    return tree;
}

}  // namespace rigsim
