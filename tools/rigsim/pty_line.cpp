#include "tools/rigsim/pty_line.h"

#include <asm/termbits.h>  // termios2; <termios.h> clashes with it
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace rigsim
{
namespace
{

[[noreturn]] void fail(int number, const char* step)
{
    throw std::system_error(number, std::generic_category(), step);
}

void makeRaw(int descriptor)
{
    termios2 settings{};
    if (ioctl(descriptor, TCGETS2, &settings) < 0) fail(errno, "read the settings of a pty");
    settings.c_iflag = 0;
    settings.c_oflag = 0;
    settings.c_lflag = 0;
    settings.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB);
    settings.c_cflag |= CS8 | CREAD | CLOCAL;
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    if (ioctl(descriptor, TCSETS2, &settings) < 0) fail(errno, "set a pty to raw");
}

}  // namespace

PtyLine::PtyLine()
{
    m_master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    if (m_master < 0) fail(errno, "get a pty");
    try {
        if (grantpt(m_master) < 0 || unlockpt(m_master) < 0) fail(errno, "unlock a pty");
        char name[64];
        if (const int error = ptsname_r(m_master, name, sizeof name)) fail(error, "name a pty");
        m_terminal = name;
        m_path = m_folder->path() / "tty";
        addName(m_path);
        openSlave();
        makeRaw(m_slave);
        m_closings = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
        watchClosings();
    } catch (...) {
        unplug();
        throw;
    }
}

// While no program has the line open, the master would report a hang-up without an end.
void PtyLine::openSlave()
{
    m_slave = open(m_terminal.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (m_slave < 0) fail(errno, m_terminal.c_str());
}

void PtyLine::watchClosings()
{
    m_watch = inotify_add_watch(m_closings, m_terminal.c_str(), IN_CLOSE);
    if (m_watch < 0) fail(errno, "watch a pty (sysctl fs.inotify shows the limits)");
}

PtyLine::~PtyLine()
{
    unplug();
}

void PtyLine::addName(const std::filesystem::path& name)
{
    std::filesystem::remove(name);
    if (!isPlugged()) return;
    std::filesystem::create_symlink(m_terminal, name);
    m_names.push_back(name);
}

void PtyLine::removeName(const std::filesystem::path& name)
{
    const auto found = std::find(m_names.begin(), m_names.end(), name);
    if (found == m_names.end()) return;
    std::error_code gone;
    std::filesystem::remove(name, gone);
    m_names.erase(found);
}

unsigned PtyLine::bitRate() const
{
    termios2 settings{};
    if (!isPlugged() || ioctl(m_master, TCGETS2, &settings) < 0) return 0;
    return settings.c_ospeed;
}

Bytes PtyLine::read()
{
    constexpr size_t kMostBytes = 4096;  // a program may write faster than we read
    Bytes bytes;
    while (isPlugged() && bytes.size() < kMostBytes) {
        uint8_t block[512];
        const ssize_t got = ::read(m_master, block, sizeof block);
        if (got > 0) bytes.insert(bytes.end(), block, block + got);
        if (got == 0 || (got < 0 && errno == EAGAIN)) break;
        if (got < 0 && errno != EINTR) fail(errno, "read from a pty");
    }
    return bytes;
}

void PtyLine::discardClosings() const
{
    alignas(inotify_event) char events[4096];
    while (::read(m_closings, events, sizeof events) > 0) continue;
}

void PtyLine::heedClosings()
{
    discardClosings();
    int isLocked = 0;
    if (ioctl(m_slave, TIOCGEXCL, &isLocked) < 0) fail(errno, "look for a lock on a pty");
    if (!isLocked) return;
    // Our own descriptor keeps the line in use, and with it the lock, which would keep us out too.
    ioctl(m_slave, TIOCNXCL);
    if (isUsed()) ioctl(m_slave, TIOCEXCL);
}

// Nothing tells how many have a terminal open; but the master reports a hang-up when nobody has.
// Our own closing is not to be watched, and every other one from before the look.
bool PtyLine::isUsed()
{
    inotify_rm_watch(m_closings, m_watch);
    close(std::exchange(m_slave, -1));
    discardClosings();
    watchClosings();
    pollfd polled{m_master, 0, 0};
    poll(&polled, 1, 0);
    openSlave();
    return (polled.revents & POLLHUP) == 0;
}

bool PtyLine::hasInput() const
{
    // Unlike FIONREAD, poll() also waits for what the kernel is just carrying over.
    pollfd polled{m_master, POLLIN, 0};
    return isPlugged() && poll(&polled, 1, 0) > 0;
}

size_t PtyLine::write(const Bytes& bytes)
{
    size_t sent = 0;
    while (isPlugged() && sent < bytes.size()) {
        const ssize_t put = ::write(m_master, bytes.data() + sent, bytes.size() - sent);
        if (put > 0) sent += static_cast<size_t>(put);
        if (put == 0 || (put < 0 && errno == EAGAIN)) break;
        if (put < 0 && errno != EINTR) fail(errno, "write to a pty");
    }
    return sent;
}

void PtyLine::unplug()
{
    // First: a program must not meet what gets the terminal's own name next.
    std::error_code gone;
    for (const auto& name : m_names) std::filesystem::remove(name, gone);
    m_names.clear();
    m_folder.reset();
    for (int* descriptor : {&m_slave, &m_master, &m_closings})
        if (*descriptor >= 0) close(std::exchange(*descriptor, -1));
}

}  // namespace rigsim
