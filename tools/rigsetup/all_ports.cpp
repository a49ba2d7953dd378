// All ports at once, each in a process of its own.

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "common/interrupt.h"
#include "tools/rigsetup/port_probe.h"

namespace rigsetup
{
namespace
{

/// Of an exchange that a child ends before it heeds the order to end.
constexpr quill::Duration kLongestEnd = quill::seconds(1);
constexpr quill::Duration kEndPause = quill::milliseconds(5);

/// A child that asks one port. The destructor ends it as Ctrl-C would and waits for it, and so does
/// an interrupt: who is back at the shell finds its line free.
class ProbeProcess
{
  public:
    ProbeProcess(const std::string& path, int baudNumber)
    {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            giveUp(errno);
            return;
        }
        const pid_t parent = ::getpid();
        m_pid = ::fork();
        if (m_pid == 0) runChild(parent, path, baudNumber, ends[1]);
        const int number = errno;
        ::close(ends[1]);
        m_pipe = ends[0];
        if (m_pid < 0) giveUp(number);
    }

    ~ProbeProcess()
    {
        end();
        if (m_pipe >= 0) ::close(m_pipe);
    }
    ProbeProcess(const ProbeProcess&) = delete;
    ProbeProcess& operator=(const ProbeProcess&) = delete;

    /// To be polled; -1 when all has been read.
    int descriptor() const { return m_isComplete ? -1 : m_pipe; }

    void readSome()
    {
        char buffer[4096];
        const ssize_t got = ::read(m_pipe, buffer, sizeof buffer);
        if (got > 0) m_text.append(buffer, static_cast<size_t>(got));
        if (got == 0) m_isComplete = true;
        if (got < 0 && errno != EINTR) giveUp(errno);
    }

    Finding finding() const
    {
        if (!m_isComplete) return {Finding::Kind::Failed, "it was still busy at the end", {}};
        return m_error.empty() ? decodeFinding(m_text)
                               : Finding{Finding::Kind::Failed, m_error, {}};
    }

  private:
    [[noreturn]] static void runChild(pid_t parent, const std::string& path, int baudNumber,
                                      int output)
    {
        // A descriptor of its own to be told by, and an end with the parent's.
        quill::unwatchInterrupts();
        quill::watchInterrupts();
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent) std::_Exit(1);
        const std::string text = encodeFinding(probePort(path, baudNumber));
        const bool isWritten =
            ::write(output, text.data(), text.size()) == static_cast<ssize_t>(text.size());
        std::_Exit(isWritten ? 0 : 1);
    }

    void end()
    {
        if (m_pid <= 0 || m_owner != ::getpid()) return;  // a sibling has inherited this
        ::kill(m_pid, SIGTERM);
        const quill::Time deadline = quill::Time::now() + kLongestEnd;
        while (::waitpid(m_pid, nullptr, WNOHANG) == 0) {
            if (quill::Time::now() >= deadline) ::kill(m_pid, SIGKILL);
            quill::sleep(kEndPause);
        }
        m_pid = -1;
    }

    void giveUp(int number)
    {
        m_error = std::strerror(number);
        m_isComplete = true;
    }

    const pid_t m_owner = ::getpid();
    pid_t m_pid = -1;
    int m_pipe = -1;
    bool m_isComplete = false;
    std::string m_text;
    std::string m_error;
    quill::InterruptCleanup m_cleanup{[this] { end(); }};
};

/// @param processes  those that are left out are empty
void readAll(const std::vector<std::unique_ptr<ProbeProcess>>& processes, quill::Time deadline)
{
    for (;;) {
        std::vector<pollfd> ready = {{quill::interruptDescriptor(), POLLIN, 0}};
        bool isBusy = false;
        for (const auto& process : processes) {
            ready.push_back({process ? process->descriptor() : -1, POLLIN, 0});
            isBusy = isBusy || ready.back().fd >= 0;
        }
        const quill::Duration left = deadline - quill::Time::now();
        if (!isBusy || left <= quill::Duration()) return;
        const timespec wait = quill::toTimespec(left);
        ::ppoll(ready.data(), ready.size(), &wait, nullptr);
        quill::heedInterrupt();
        for (size_t i = 0; i < processes.size(); ++i)
            if (ready[i + 1].fd >= 0 && ready[i + 1].revents != 0) processes[i]->readSome();
    }
}

std::string whyNotAsked(const quill::SerialDevice& device)
{
    if (!device.holder.empty()) return "in use by " + device.holder;
    return device.mayOpen ? "" : "it may not be opened (add yourself to the group dialout)";
}

}  // namespace

std::vector<ProbedPort> listPorts()
{
    std::vector<ProbedPort> ports;
    for (const auto& device : quill::serialDevices())
        ports.push_back({device, whyNotAsked(device), std::nullopt});
    return ports;
}

std::vector<ProbedPort> probeAllPorts(int baudNumber, quill::Duration limit)
{
    const quill::Time deadline = quill::Time::now() + limit;
    auto ports = listPorts();
    std::vector<std::unique_ptr<ProbeProcess>> processes;
    processes.reserve(ports.size());
    for (const ProbedPort& port : ports)
        processes.push_back(port.whyNot.empty()
                                ? std::make_unique<ProbeProcess>(port.device.path, baudNumber)
                                : nullptr);
    readAll(processes, deadline);
    for (size_t i = 0; i < ports.size(); ++i)
        if (processes[i]) ports[i].finding = processes[i]->finding();
    return ports;
}

}  // namespace rigsetup
