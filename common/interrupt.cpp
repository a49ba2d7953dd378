#include "common/interrupt.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "common/logging.h"
#include "common/time.h"

namespace quill
{
namespace
{

constexpr const char* kCategory = "interrupt";

/// Signals that come closer together are one order to end.
constexpr Duration kOneOrder = milliseconds(500);

struct WatchedSignal
{
    int number;
    struct sigaction before;
};

/// As a shell counts: a status above it stands for a signal.
constexpr int kSignalled = 128;
constexpr int kOutputLost = 1;

WatchedSignal s_signals[] = {{SIGINT, {}}, {SIGQUIT, {}}, {SIGTERM, {}}, {SIGHUP, {}}};
WatchedSignal s_brokenPipe = {SIGPIPE, {}};
int s_descriptor = -1;
bool s_cleaningUp = false;
std::atomic<int> s_delays = 0;            // exchanges may run in other threads
std::atomic<int> s_end = 0;               // the status to end with, 0 while nothing orders the end
std::atomic<uint64_t> s_signalledAt = 0;  // ns

std::list<std::function<void()>>& cleanups()
{
    static std::list<std::function<void()>> registered;
    return registered;
}

/// The first order stands.
void orderEnd(int status)
{
    int none = 0;
    if (!s_end.compare_exchange_strong(none, status)) return;
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(s_descriptor, &one, sizeof one);
}

void onSignal(int number)
{
    const int savedErrno = errno;
    const Time now = Time::now();
    if (s_signalledAt == 0) {
        s_signalledAt = now.nanoseconds();
        orderEnd(kSignalled + number);
    } else if (now - Time(s_signalledAt) > kOneOrder) {
        ::signal(number, SIG_DFL);
        ::raise(number);  // kills when this handler returns
    }
    errno = savedErrno;
}

[[noreturn]] void endProcess(int status)
{
    if (status > kSignalled) {
        ::signal(status - kSignalled, SIG_DFL);
        ::raise(status - kSignalled);
    }
    std::_Exit(status);
}

}  // namespace

InterruptCleanup::InterruptCleanup(std::function<void()> action)
    : m_place(cleanups().insert(cleanups().end(), std::move(action)))
{}

InterruptCleanup::~InterruptCleanup()
{
    cleanups().erase(m_place);
}

InterruptDelay::InterruptDelay()
{
    ++s_delays;
}

InterruptDelay::~InterruptDelay()
{
    --s_delays;
}

void watchInterrupts()
{
    if (s_descriptor >= 0) return;
    s_descriptor = ::eventfd(isEndOrdered() ? 1 : 0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (s_descriptor < 0) {
        QUILL_LOG(kWarning, kCategory)
            << "Ctrl-C will end the run without bringing devices to rest: eventfd: "
            << std::strerror(errno) << " (ulimit -n shows how many descriptors a process may have)";
        return;
    }
    for (auto& signal : s_signals) {
        ::sigaction(signal.number, nullptr, &signal.before);
        if (signal.before.sa_handler == SIG_IGN) continue;
        struct sigaction action = {};
        action.sa_handler = onSignal;
        ::sigaction(signal.number, &action, nullptr);
    }
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(s_brokenPipe.number, &ignore, &s_brokenPipe.before);
}

void unwatchInterrupts()
{
    if (s_descriptor < 0) return;
    for (auto& signal : s_signals) ::sigaction(signal.number, &signal.before, nullptr);
    ::sigaction(s_brokenPipe.number, &s_brokenPipe.before, nullptr);
    ::close(std::exchange(s_descriptor, -1));
    if (isEndOrdered()) endProcess(s_end);
}

sigset_t interruptSignals()
{
    sigset_t numbers;
    sigemptyset(&numbers);
    for (const auto& signal : s_signals) sigaddset(&numbers, signal.number);
    return numbers;
}

void endForLostOutput(int error)
{
    const bool wouldKill = s_descriptor >= 0 && s_brokenPipe.before.sa_handler != SIG_IGN;
    orderEnd(error == EPIPE && wouldKill ? kSignalled + SIGPIPE : kOutputLost);
}

bool isEndOrdered()
{
    return s_end != 0;
}

int endDescriptor()
{
    return s_descriptor;
}

int interruptDescriptor()
{
    return s_cleaningUp || s_delays > 0 ? -1 : s_descriptor;
}

void heedInterrupt()
{
    if (isEndOrdered() && interruptDescriptor() >= 0) endInterrupted();
}

void endInterrupted()
{
    s_cleaningUp = true;
    while (!cleanups().empty()) {
        const auto action = std::move(cleanups().back());
        cleanups().pop_back();
        action();
    }
    endProcess(s_end);
}

}  // namespace quill
