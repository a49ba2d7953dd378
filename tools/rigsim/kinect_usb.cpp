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

constexpr const char* kKinect = R"(
P: /devices/pci0000:00/0000:00:14.0/usb2/2-1
N: bus/usb/002/002
E: DEVTYPE=usb_device
E: DRIVER=usb
E: SUBSYSTEM=usb
A: busnum=2
A: devnum=2
A: dev=189:129
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
    if (!kinect.isPlugged) return kUsb3RootHub;
    return kUsb3RootHub + fmt::format(kKinect, fmt::arg("speed", kinect.usbSpeedMbit));
}

}  // namespace rigsim
