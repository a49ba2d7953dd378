#include "tools/rigsim/testbed.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "tools/rigsim/kinect_usb.h"
#include "tools/rigsim/temporary_folder.h"
#include "tools/rigsim/testbed_tree.h"
#include "tools/rigsim/tty_ioctls.h"
#include "tools/rigsim/usb_ioctls.h"

namespace rigsim
{
namespace
{

namespace fs = std::filesystem;

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

/// The kernel ends the text of an attribute with a line end, and readers count on it: lsusb drops
/// the last character.
std::string withLineEnds(const std::string& description)
{
    std::string result;
    std::istringstream lines(description);
    for (std::string line; std::getline(lines, line);)
        result += line + (line.rfind("A: ", 0) == 0 ? "\\n\n" : "\n");
    return result;
}

void replaceByLink(const fs::path& path, const fs::path& target)
{
    fs::create_directories(path.parent_path());
    fs::remove(path);
    fs::create_symlink(target, path);
}

}  // namespace

struct Testbed::Impl
{
    explicit Impl(Rig& theRig) : rig(theRig) {}
    ~Impl();
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    Rig& rig;
    // Before the testbed, hence there as long as its thread calls them.
    std::vector<std::unique_ptr<TtyIoctls>> ttys;
    std::vector<std::unique_ptr<UsbIoctls>> adapters;
    GObjectPtr<UMockdevTestbed> testbed;
    fs::path root;
    std::string preload;
    std::string kinectSocket;

    void addDevices(const std::string& description, const std::string& subject) const;
    void attach(const std::string& node, UMockdevIoctlBase* handler) const;
    fs::path ttyPath(const Rig::Line& line) const { return root / "dev" / line.node; }
    void addLine(const Rig::Line& line, int minor);
    void addTty(const Rig::Line& line, int minor);
    void addLastingName(const Rig::Line& line, int minor) const;
};

// The library ends the process when somebody else removes a file that it is just about to remove:
// no cable may be pulled from then on.
Testbed::Impl::~Impl()
{
    for (const Rig::Line& line : rig.lines()) rig.removePath(line.device, ttyPath(line));
}

void Testbed::Impl::addDevices(const std::string& description, const std::string& subject) const
{
    GError* error = nullptr;
    const std::string text = withLineEnds(description);
    const bool done = umockdev_testbed_add_from_string(testbed.get(), text.c_str(), &error);
    require(done, error, subject);
}

void Testbed::Impl::attach(const std::string& node, UMockdevIoctlBase* handler) const
{
    GError* error = nullptr;
    const std::string path = "/dev/" + node;
    const bool done = umockdev_testbed_attach_ioctl(testbed.get(), path.c_str(), handler, &error);
    require(done, error, path);
}

void Testbed::Impl::addLine(const Rig::Line& line, int minor)
{
    addDevices(adapterTree(line, minor), line.node);
    addTty(line, minor);

    adapters.push_back(std::make_unique<UsbIoctls>(&rig, line.device));
    attach(usbNode(line), adapters.back()->handler());
    // Root may open everything but what has no way to be written: the system's attributes.
    if (rig.faults().has("cbus.no-permission"))
        replaceByLink(root / "dev" / usbNode(line), "/sys/kernel/uevent_seqnum");
}

void Testbed::Impl::addTty(const Rig::Line& line, int minor)
{
    // A pty of the library's own stands there now; ours takes its place.
    rig.addPath(line.device, ttyPath(line));
    ttys.push_back(std::make_unique<TtyIoctls>(testbed.get(), serialPortPath(line)));
    attach(line.node, ttys.back()->handler());
    addLastingName(line, minor);
}

// A link as udev makes it. The library follows none, so it must be told the name's device number
// (in its own table, a link per name) and ioctls. Without the latter the tty would be of no use.
void Testbed::Impl::addLastingName(const Rig::Line& line, int minor) const
{
    if (line.adapter.serial.empty()) return;  // one name would be for all
    const std::string name = lastingName(line);
    const size_t socketName = (root / "ioctl/dev" / name).native().size();
    if (socketName >= sizeof(sockaddr_un::sun_path)) return;

    replaceByLink(root / "dev" / name, "../../" + line.node);
    std::string entry = name;
    std::replace(entry.begin(), entry.end(), '/', '_');
    replaceByLink(root / "dev/.node" / entry, fmt::format("188:{}", minor));
    attach(name, ttys.back()->handler());
}

Testbed::Testbed(Rig& rig) : m_impl(std::make_unique<Impl>(rig))
{
    (void)temporaryRoot();  // the library would end the process where it is unusable
    m_impl->preload = preloadPath();
    m_impl->testbed.reset(umockdev_testbed_new());
    const std::unique_ptr<gchar, decltype(&g_free)> root(
        umockdev_testbed_get_root_dir(m_impl->testbed.get()), &g_free);
    m_impl->root = root.get();

    m_impl->addDevices(rootHubTree(), "usb1");
    m_impl->addDevices(kinectUsbTree(rig.kinectState()), "usb2");
    m_impl->kinectSocket = rig.kinect().path();
    int minor = 0;
    for (const Rig::Line& line : rig.lines()) m_impl->addLine(line, minor++);
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
        else if (text.rfind("UMOCKDEV_DIR=", 0) != 0 && text.rfind("RIGSIM_", 0) != 0)
            result.push_back(text);
    }
    result.push_back(preload);
    result.push_back("UMOCKDEV_DIR=" + m_impl->root.string());
    result.push_back("RIGSIM_KINECT=" + m_impl->kinectSocket);
    result.push_back("RIGSIM_CLOCK=" + m_impl->rig.clockPath());
    return result;
}

}  // namespace rigsim
