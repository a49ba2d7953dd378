#include "guard_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <utility>

#include "serial_settings.h"

namespace quill
{
namespace
{

constexpr Duration kRetryInterval = milliseconds(20);

/// More than all waits together. Draining has no time-out of its own.
constexpr unsigned kLongestLife_s = 10;

/// Waits until `end` at most. @param descriptor  -1: for nothing but the time
void waitFor(int descriptor, short events, Time end)
{
    pollfd waiting{descriptor, events, 0};
    const timespec timeout = toTimespec(end - Time::now());
    (void)::ppoll(&waiting, 1, &timeout, nullptr);
}

bool isSocket(int descriptor)
{
    struct stat file = {};
    return ::fstat(descriptor, &file) == 0 && S_ISSOCK(file.st_mode);
}

/// What was inherited and is another's: the other lines, the log, whose reader waits for its end.
/// Sockets stay, but for the first three: a simulated line's ioctls are carried over one, and its
/// library ends a process in which it is closed.
void closeAllBut(int a, int b, int c)
{
    constexpr int kLooked = 1024;
    for (int descriptor = 0; descriptor < kLooked; ++descriptor) {
        const bool isKept = descriptor == a || descriptor == b || descriptor == c;
        if (!isKept && (descriptor < 3 || !isSocket(descriptor))) ::close(descriptor);
    }
    const int highest = std::max({a, b, c, kLooked - 1});
    (void)::close_range(static_cast<unsigned>(highest) + 1, ~0U, 0);
}

/// Out of reach of what ends the parent: Ctrl-C, Ctrl-\ and Ctrl-Z go to the terminal's session,
/// timeout(1) and a shell's kill to the process group.
void leaveParent(const GuardTask& task)
{
    ::setsid();
    ::prctl(PR_SET_NAME, task.name);
    closeAllBut(task.line, task.release, task.reports);
    // No line that is opened anew becomes what the C library takes for standard output.
    for (int i = 0; i < 3; ++i) (void)::open("/dev/null", O_RDWR | O_CLOEXEC);

    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    ::signal(SIGALRM, SIG_DFL);
    ::sigprocmask(SIG_UNBLOCK, &alarm, nullptr);
    ::alarm(kLongestLife_s);
}

GuardReport made(GuardReport::Step step, int number)
{
    return {step, number, false};
}

class GuardedLine
{
  public:
    explicit GuardedLine(const GuardTask& task) : m_task(task), m_fd(task.line) {}

    GuardReport send(const std::vector<uint8_t>& order, Time end)
    {
        for (size_t sent = 0; sent < order.size();) {
            const ssize_t count = ::write(m_fd, order.data() + sent, order.size() - sent);
            if (count > 0) {
                sent += static_cast<size_t>(count);
                continue;
            }
            if (count == 0 || errno != EAGAIN)
                return made(GuardReport::Write, count < 0 ? errno : EIO);
            if (Time::now() >= end) return made(GuardReport::Write, ETIMEDOUT);
            waitFor(m_fd, POLLOUT, end);
        }
        return made(GuardReport::Drain, ::tcdrain(m_fd) == 0 ? 0 : errno);
    }

    /// @return the first failure, which tells the cause, when no later try has succeeded
    GuardReport sendUntilTaken(const std::vector<uint8_t>& order, Time end)
    {
        const GuardReport first = send(order, end);
        GuardReport report = first;
        while (report.number != 0 && Time::now() < end) {
            waitFor(-1, 0, std::min(end, Time::now() + kRetryInterval));
            if (isLost(report.number)) report = openAnew();
            if (!isLost(report.number)) report = send(order, end);
        }
        return report.number == 0 ? report : first;
    }

  private:
    static bool isLost(int number)
    {
        return number == EIO || number == ENODEV || number == ENXIO || number == ENOENT ||
               number == EBADF;
    }

    GuardReport openAnew()
    {
        ::close(std::exchange(m_fd, -1));
        m_fd = ::open(m_task.path, O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
        if (m_fd < 0) return made(GuardReport::Open, ENODEV);
        const bool isRaw = setRawLine(m_fd, m_task.bitRate) == 0;
        return made(GuardReport::Open, isRaw ? 0 : ENODEV);
    }

    const GuardTask& m_task;
    int m_fd;
};

void report(const GuardTask& task, GuardReport order, bool isLast)
{
    order.isLast = isLast;
    [[maybe_unused]] const ssize_t written = ::write(task.reports, &order, sizeof order);
}

}  // namespace

void runGuardProcess(const GuardTask& task)
{
    leaveParent(task);
    GuardedLine line(task);
    const Time end = Time::now() + kLongestGuard;
    report(task, line.send(task.first, end), false);
    waitFor(task.release, POLLIN, end);
    const GuardReport last = line.sendUntilTaken(task.last, Time::now() + kLongestGuard);
    report(task, last, true);
    ::_exit(last.number == 0 ? 0 : 1);
}

}  // namespace quill
