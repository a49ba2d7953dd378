#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "devices/usb/usb_device.h"

namespace
{

namespace fs = std::filesystem;

/// A system's description of one tty behind USB, in memory where the system has such a place.
struct Tree
{
    fs::path root;
    fs::path usb;

    Tree()
    {
        std::string name =
            (fs::exists("/dev/shm") ? "/dev/shm" : "/tmp") + std::string("/lookXXXXXX");
        if (::mkdtemp(name.data()) == nullptr) std::abort();
        root = name;
        usb = root / "devices/usb1/1-4";
        const fs::path tty = usb / "1-4:1.0/tty/ttyACM0";
        fs::create_directories(tty);
        fs::create_directories(root / "class/tty");
        fs::create_directories(root / "dev/char");
        fs::create_directory_symlink(root / "class/tty", tty / "subsystem");
        struct stat node = {};
        if (::stat("/dev/null", &node) != 0) std::abort();
        fs::create_directory_symlink(tty, root / "dev/char" /
                                              (std::to_string(major(node.st_rdev)) + ":" +
                                               std::to_string(minor(node.st_rdev))));
    }
    ~Tree() { fs::remove_all(root); }
};

}  // namespace

/// The attributes of a device, cut at zero bytes: whatever a device calls itself, its numbers are
/// within what USB has, and its texts are single lines.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const Tree tree;
    const uint8_t* const end = data + size;
    for (const char* name : {"uevent", "busnum", "devnum", "idVendor", "idProduct", "bcdDevice",
                             "product", "serial", "1-4:1.0/uevent"}) {
        std::ofstream file(tree.usb / name, std::ios::binary);
        while (data != end && *data != 0) file.put(static_cast<char>(*data++));
        if (data != end) ++data;
    }
    const auto found = quill::findUsbDevice("/dev/null", tree.root);
    if (!found) return 0;
    const bool fits = found->bus >= 0 && found->address >= 0 && found->vendor >= 0 &&
                      found->vendor <= 0xFFFF && found->product >= 0 && found->product <= 0xFFFF &&
                      found->release >= 0 && found->release <= 0xFFFF;
    const bool isLine = (found->productName + found->serialNumber).find('\n') == std::string::npos;
    const bool isInside = found->sysPath.rfind(tree.usb.string(), 0) == 0;
    if (!fits || !isLine || !isInside) std::abort();
    return 0;
}
