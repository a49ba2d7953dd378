#include "devices/serial/line_guard.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "common/logging.h"
#include "devices/serial/serial_port.h"
#include "guard_process.h"

namespace quill
{
namespace
{

constexpr const char* kCategory = "serial";

/// Longer than an order is tried for: a child that is silent for so long is stopped.
constexpr Duration kReportTimeout = kLongestGuard + seconds(1);

struct Pipe
{
    int readEnd = -1;
    int writeEnd = -1;

    Pipe() = default;
    ~Pipe()
    {
        for (const int end : {readEnd, writeEnd})
            if (end >= 0) ::close(end);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    /// @return whether the system has one; errno tells
    bool open()
    {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) return false;
        readEnd = ends[0];
        writeEnd = ends[1];
        return true;
    }
};

/// No signal meets the child before it has left this process's group, or a handler of ours.
class BlockedSignals
{
  public:
    BlockedSignals()
    {
        sigset_t all;
        sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~BlockedSignals() { ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

  private:
    sigset_t m_before;
};

}  // namespace

LineGuard::LineGuard(SerialPort& line, std::string path, int bitRate, std::string process)
    : m_line(line), m_path(std::move(path)), m_bitRate(bitRate), m_process(std::move(process))
{}

LineGuard::~LineGuard()
{
    (void)finish();  // who wants to know has asked
}

std::optional<Error> LineGuard::start(Orders orders)
{
    m_orders = std::move(orders);
    Pipe release;
    Pipe reports;
    const auto cannotStart = [this](int number) {
        const char* remedy = number == EMFILE   ? "ulimit -n shows how many descriptors it may have"
                             : number == EAGAIN ? "ulimit -u shows how many processes you may have"
                                                : "";
        return Error{m_path, "start its guard process", number, "", remedy};
    };
    if (!release.open() || !reports.open()) return cannotStart(errno);

    // Before the first order: from then on a log whose reader stalls must not hold anything up.
    m_line.trace("->", m_orders.first.data(), m_orders.first.size());
    {
        const BlockedSignals untilAway;
        m_child = ::fork();
        if (m_child == 0)
            runGuardProcess({m_process.c_str(), m_path.c_str(), m_bitRate, m_line.m_fd,
                             release.readEnd, reports.writeEnd, m_orders.first, m_orders.last});
    }
    if (m_child < 0) return cannotStart(errno);
    m_release = std::exchange(release.writeEnd, -1);
    m_reports = std::exchange(reports.readEnd, -1);
    ::close(std::exchange(reports.writeEnd, -1));  // so that the pipe ends with the child

    const auto report = awaitReport(false);
    if (!report) return Error{m_path, "write", 0, "its guard process has ended or is stopped", ""};
    if (report->number != 0) return failure(*report);
    return std::nullopt;
}

std::optional<Error> LineGuard::finish()
{
    if (!isRunning()) return std::nullopt;
    ::close(std::exchange(m_release, -1));
    const auto report = awaitReport(true);
    if (!report) ::kill(m_child, SIGKILL);
    while (::waitpid(m_child, nullptr, 0) < 0 && errno == EINTR) {
    }
    m_child = -1;
    ::close(std::exchange(m_reports, -1));
    if (!report) return giveLastOrder();
    if (report->number != 0) return failure(*report);
    m_line.trace("->", m_orders.last.data(), m_orders.last.size());
    return std::nullopt;
}

/// @return nothing when the child has ended without one, or gives none
std::optional<GuardReport> LineGuard::awaitReport(bool ofLastOrder)
{
    const Time end = Time::now() + kReportTimeout;
    for (;;) {
        pollfd waiting{m_reports, POLLIN, 0};
        const timespec timeout = toTimespec(end - Time::now());
        const int ready = ::ppoll(&waiting, 1, &timeout, nullptr);
        if (ready < 0 && errno == EINTR) continue;
        GuardReport report;
        if (ready <= 0 || ::read(m_reports, &report, sizeof report) != sizeof report)
            return std::nullopt;
        if (report.isLast == ofLastOrder) return report;
    }
}

Error LineGuard::failure(const GuardReport& report) const
{
    const char* const step = report.step == GuardReport::Drain ? "drain" : "write";
    return m_line.systemError(step, report.number);
}

std::optional<Error> LineGuard::giveLastOrder()
{
    const Time deadline = Time::now() + kLongestGuard;
    auto error = m_line.write(m_orders.last.data(), m_orders.last.size(), deadline);
    if (!error) error = m_line.drain(deadline);
    QUILL_LOG(kWarning, kCategory) << m_path << ": its guard process was killed or stopped";
    return error;
}

}  // namespace quill
