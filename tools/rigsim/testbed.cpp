#include "tools/rigsim/testbed.h"

#include <asm/ioctls.h>
#include <dlfcn.h>
#include <fmt/format.h>
#include <linux/serial.h>
#include <umockdev.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace rigsim
{
namespace
{

namespace fs = std::filesystem;

struct Unref
{
    void operator()(void* object) const { g_object_unref(object); }
};

// The tree of a line whose adapter is an FT232R at a port of the first USB bus: what look-ups from
// the tty up to the USB device walk through.
constexpr const char* kUsbTty = R"(P: /devices/pci0000:00/0000:00:14.0/usb1/1-{port}
N: bus/usb/001/{number:03}
E: DEVTYPE=usb_device
E: DRIVER=usb
E: SUBSYSTEM=usb
A: busnum=1
A: devnum={number}
A: dev=189:{index}
A: idVendor=0403
A: idProduct=6001
A: bcdDevice=0600
A: manufacturer=FTDI
A: product=FT232R USB UART
A: serial=RIG{number:05}

P: /devices/pci0000:00/0000:00:14.0/usb1/1-{port}/1-{port}:1.0
E: DEVTYPE=usb_interface
E: DRIVER=ftdi_sio
E: SUBSYSTEM=usb
A: bInterfaceNumber=00

P: /devices/pci0000:00/0000:00:14.0/usb1/1-{port}/1-{port}:1.0/{node}
E: DRIVER=ftdi_sio
E: SUBSYSTEM=usb-serial
A: latency_timer=16

P: /devices/pci0000:00/0000:00:14.0/usb1/1-{port}/1-{port}:1.0/{node}/tty/{node}
N: {node}
E: DEVNAME=/dev/{node}
E: MAJOR=188
E: MINOR={minor}
E: SUBSYSTEM=tty
A: dev=188:{minor}
)";

constexpr const char* kRootHubPath = "/devices/pci0000:00/0000:00:14.0/usb1";
constexpr const char* kRootHub = R"(P: /devices/pci0000:00/0000:00:14.0/usb1
N: bus/usb/001/001
E: DEVTYPE=usb_device
E: DRIVER=usb
E: SUBSYSTEM=usb
A: busnum=1
A: devnum=1
A: dev=189:0
A: idVendor=1d6b
A: idProduct=0002
)";

// The 108 bytes of a socket's name hold "/umockdev.XXXXXX/ioctl/dev/bus/usb/BBB/DDD" behind TMPDIR.
constexpr size_t kLongestTmpDir = 60;

void requireTmpDir()
{
    std::error_code error;
    const fs::path folder = fs::temp_directory_path(error);
    if (!error && access(folder.c_str(), W_OK | X_OK) < 0) error = {errno, std::generic_category()};
    if (error)
        throw std::runtime_error(
            fmt::format("temporary folder {}: {} (set TMPDIR)", folder.string(), error.message()));
    if (folder.native().size() > kLongestTmpDir)
        throw std::runtime_error(
            fmt::format("temporary folder {}: name is too long (set TMPDIR)", folder.string()));
}

// The part that is loaded into the processes comes with the library. Looked for by us, because the
// dynamic linker only warns of a missing one, and the command would meet the machine's own devices.
std::string preloadPath()
{
    Dl_info info{};
    const void* const symbol = reinterpret_cast<const void*>(&umockdev_testbed_new);
    if (!dladdr(symbol, &info) || !info.dli_fname) return "libumockdev-preload.so.0";
    const fs::path path = fs::canonical(info.dli_fname).parent_path() / "libumockdev-preload.so.0";
    if (access(path.c_str(), R_OK) < 0)
        throw std::runtime_error(fmt::format("{}: {} (install the package umockdev)", path.string(),
                                             std::strerror(errno)));
    return path;
}

void require(bool done, GError* error, const std::string& subject)
{
    if (done) return;
    const std::string text = error ? error->message : "refused";
    g_clear_error(&error);
    throw std::runtime_error(fmt::format("testbed: {}: {}", subject, text));
}

// What a line's adapter adds to the pseudo terminal behind it. In use until the testbed has ended.
struct Adapter
{
    UMockdevTestbed* testbed;
    std::string sysfsPath;  // of the usb-serial device
    int flags = 0;          // of the driver's serial_struct
    std::unique_ptr<UMockdevIoctlBase, Unref> handler;

    // The driver's own ioctl, which a pty does not know: low latency is 1 ms, otherwise 16 ms.
    // @return false when the program has gone
    bool exchangeSerialStruct(UMockdevIoctlClient* client, bool set);
};

bool Adapter::exchangeSerialStruct(UMockdevIoctlClient* client, bool set)
{
    UMockdevIoctlData* const argument = umockdev_ioctl_client_get_arg(client);  // the client's own
    GError* error = nullptr;
    const std::unique_ptr<UMockdevIoctlData, Unref> data(
        umockdev_ioctl_data_resolve(argument, 0, sizeof(serial_struct), &error));
    g_clear_error(&error);
    if (!data) return false;
    serial_struct serial{};
    std::memcpy(&serial, data->data, sizeof serial);
    if (set) {
        flags = serial.flags;
        umockdev_testbed_set_attribute(testbed, sysfsPath.c_str(), "latency_timer",
                                       (flags & ASYNC_LOW_LATENCY) != 0 ? "1" : "16");
        return true;
    }
    serial = {};
    serial.flags = flags;
    umockdev_ioctl_data_update(data.get(), 0, reinterpret_cast<guint8*>(&serial), sizeof serial);
    return true;
}

// The library answers ENOTTY to what it does not know; a real pty knows termios2 and the rest. But
// it would keep TIOCEXCL beyond the program that asked for it, since we hold it open.
gboolean handleIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer data)
{
    auto* const adapter = static_cast<Adapter*>(data);
    const gulong request = umockdev_ioctl_client_get_request(client);
    int result = 0;
    int number = 0;
    if (request == TIOCGSERIAL || request == TIOCSSERIAL) {
        if (!adapter->exchangeSerialStruct(client, request == TIOCSSERIAL)) return TRUE;
    } else if (request != TIOCEXCL) {
        GError* error = nullptr;
        result = umockdev_ioctl_client_execute(client, &number, &error);
        if (error) {  // the program has gone
            g_clear_error(&error);
            return TRUE;
        }
    }
    umockdev_ioctl_client_complete(client, result, number);
    return TRUE;
}

}  // namespace

struct Testbed::Impl
{
    std::vector<std::unique_ptr<Adapter>> adapters;
    std::unique_ptr<UMockdevTestbed, Unref> testbed;
    std::string root;
    std::string preload;

    void addDevices(const std::string& description, const std::string& subject) const;
    void addLine(const Rig::Line& line, int index);
};

void Testbed::Impl::addDevices(const std::string& description, const std::string& subject) const
{
    GError* error = nullptr;
    const bool done = umockdev_testbed_add_from_string(testbed.get(), description.c_str(), &error);
    require(done, error, subject);
}

void Testbed::Impl::addLine(const Rig::Line& line, int index)
{
    const int number = index + 4;
    addDevices(fmt::format(kUsbTty, fmt::arg("port", number), fmt::arg("number", number),
                           fmt::arg("index", number - 1), fmt::arg("node", line.node),
                           fmt::arg("minor", index)),
               line.node);

    // A pty of the library's own stands there now; ours takes its place.
    const fs::path node = fs::path(root) / "dev" / line.node;
    fs::remove(node);
    fs::create_symlink(line.path, node);

    auto adapter = std::make_unique<Adapter>();
    adapter->testbed = testbed.get();
    adapter->sysfsPath =
        fmt::format("/sys{0}/1-{1}/1-{1}:1.0/{2}", kRootHubPath, number, line.node);
    adapter->handler.reset(umockdev_ioctl_base_new());
    g_signal_connect(adapter->handler.get(), "handle-ioctl", G_CALLBACK(handleIoctl),
                     adapter.get());
    GError* error = nullptr;
    const std::string path = "/dev/" + line.node;
    const bool done =
        umockdev_testbed_attach_ioctl(testbed.get(), path.c_str(), adapter->handler.get(), &error);
    adapters.push_back(std::move(adapter));
    require(done, error, path);
}

Testbed::Testbed(const Rig& rig) : m_impl(std::make_unique<Impl>())
{
    requireTmpDir();
    m_impl->preload = preloadPath();
    m_impl->testbed.reset(umockdev_testbed_new());
    const std::unique_ptr<gchar, decltype(&g_free)> root(
        umockdev_testbed_get_root_dir(m_impl->testbed.get()), &g_free);
    m_impl->root = root.get();

    m_impl->addDevices(kRootHub, "usb1");
    int index = 0;
    for (const Rig::Line& line : rig.lines()) m_impl->addLine(line, index++);
}

Testbed::~Testbed() = default;

std::vector<std::string> Testbed::environment() const
{
    std::vector<std::string> result;
    std::string preload = "LD_PRELOAD=" + m_impl->preload;
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        if (text.rfind("LD_PRELOAD=", 0) == 0)
            preload += ":" + text.substr(text.find('=') + 1);
        else if (text.rfind("UMOCKDEV_DIR=", 0) != 0)
            result.push_back(text);
    }
    result.push_back(preload);
    result.push_back("UMOCKDEV_DIR=" + m_impl->root);
    return result;
}

}  // namespace rigsim
