#include "tools/rigsim/testbed_tree.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace rigsim
{
namespace
{

constexpr const char* kRootHubPath = "/devices/pci0000:00/0000:00:14.0/usb1";

constexpr const char* kRootHub = R"(P: /devices/pci0000:00/0000:00:14.0/usb1
N: bus/usb/001/001
E: DEVNAME=/dev/bus/usb/001/001
E: DEVTYPE=usb_device
E: DRIVER=usb
E: MAJOR=189
E: MINOR=0
E: SUBSYSTEM=usb
A: bConfigurationValue=1
A: bNumConfigurations=1
A: bcdDevice=0601
A: busnum=1
A: dev=189:0
A: devnum=1
A: idProduct=0002
A: idVendor=1d6b
A: maxchild=16
A: speed=480
A: version= 2.00
H: descriptors=12010002090001406B1D0200010603020101090219000101E0000904000001090000000705810304000C
)";

constexpr const char* kAdapter = R"(P: {hub}/1-{number}
N: bus/usb/001/{number:03}
E: DEVNAME=/dev/bus/usb/001/{number:03}
E: DEVTYPE=usb_device
E: DRIVER=usb
E: MAJOR=189
E: MINOR={usbMinor}
E: SUBSYSTEM=usb
A: bConfigurationValue=1
A: bDeviceClass=00
A: bMaxPacketSize0=8
A: bMaxPower=90mA
A: bNumConfigurations=1
A: bNumInterfaces= 1
A: bcdDevice={release:04x}
A: bmAttributes=a0
A: busnum=1
A: dev=189:{usbMinor}
A: devnum={number}
A: devpath={number}
A: idProduct={product:04x}
A: idVendor={vendor:04x}
A: manufacturer={manufacturer}
A: maxchild=0
A: product={name}
A: serial={serial}
A: speed=12
A: version= 2.00
H: descriptors={descriptors}

P: {hub}/1-{number}/1-{number}:1.0
E: DEVTYPE=usb_interface
E: DRIVER=ftdi_sio
E: SUBSYSTEM=usb
A: bAlternateSetting= 0
A: bInterfaceClass=ff
A: bInterfaceNumber=00
A: bNumEndpoints=02
A: interface={name}

P: {hub}/1-{number}/1-{number}:1.0/{node}
E: DRIVER=ftdi_sio
E: SUBSYSTEM=usb-serial
A: latency_timer=16

P: {hub}/1-{number}/1-{number}:1.0/{node}/tty/{node}
N: {node}
L: device=../../../{node}
E: DEVNAME=/dev/{node}
E: MAJOR=188
E: MINOR={minor}
E: SUBSYSTEM=tty
A: dev=188:{minor}
)";

std::string descriptorsInHex(const UsbIdentity& identity)
{
    Bytes bytes = deviceDescriptor(identity);
    const Bytes configuration = configurationDescriptor();
    bytes.insert(bytes.end(), configuration.begin(), configuration.end());
    return fmt::format("{:02X}", fmt::join(bytes, ""));
}

}  // namespace

std::string rootHubTree()
{
    return kRootHub;
}

std::string adapterTree(const Rig::Line& line, int minor)
{
    const UsbIdentity& adapter = line.adapter;
    return fmt::format(
        kAdapter, fmt::arg("hub", kRootHubPath), fmt::arg("number", line.usbNumber),
        fmt::arg("usbMinor", line.usbNumber - 1), fmt::arg("release", adapter.release),
        fmt::arg("vendor", adapter.vendor), fmt::arg("product", adapter.product),
        fmt::arg("manufacturer", adapter.manufacturer), fmt::arg("name", adapter.name),
        fmt::arg("serial", adapter.serial), fmt::arg("descriptors", descriptorsInHex(adapter)),
        fmt::arg("node", line.node), fmt::arg("minor", minor));
}

std::string serialPortPath(const Rig::Line& line)
{
    return fmt::format("/sys{0}/1-{1}/1-{1}:1.0/{2}", kRootHubPath, line.usbNumber, line.node);
}

std::string usbNode(const Rig::Line& line)
{
    return fmt::format("bus/usb/001/{:03}", line.usbNumber);
}

std::string lastingName(const Rig::Line& line)
{
    const UsbIdentity& adapter = line.adapter;
    std::string name = fmt::format("serial/by-id/usb-{}_{}_{}-if00-port0", adapter.manufacturer,
                                   adapter.name, adapter.serial);
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
}

}  // namespace rigsim
