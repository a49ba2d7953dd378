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

WatchedSignal s_signals[] = {{SIGINT, {}}, {SIGTERM, {}}, {SIGHUP, {}}};
int s_descriptor = -1;
bool s_cleaningUp = false;
std::atomic<int> s_delays = 0;  // exchanges may run in other threads
volatile std::sig_atomic_t s_arrived = 0;
std::atomic<uint64_t> s_arrivedAt = 0;  // ns

std::list<std::function<void()>>& cleanups()
{
    static std::list<std::function<void()>> registered;
    return registered;
}

void onSignal(int number)
{
    const int savedErrno = errno;
    const Time now = Time::now();
    if (s_arrived == 0) {
        s_arrived = number;
        s_arrivedAt = now.nanoseconds();
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(s_descriptor, &one, sizeof one);
    } else if (now - Time(s_arrivedAt) > kOneOrder) {
        ::signal(number, SIG_DFL);
        ::raise(number);  // kills when this handler returns
    }
    errno = savedErrno;
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
    s_descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
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
}

void unwatchInterrupts()
{
    if (s_descriptor < 0) return;
    for (auto& signal : s_signals) ::sigaction(signal.number, &signal.before, nullptr);
    ::close(std::exchange(s_descriptor, -1));
    if (s_arrived != 0) ::raise(s_arrived);  // came after the last wait: it still ends the run
}

int interruptDescriptor()
{
    return s_cleaningUp || s_delays > 0 ? -1 : s_descriptor;
}

void heedInterrupt()
{
    if (s_arrived != 0 && interruptDescriptor() >= 0) endInterrupted();
}

void endInterrupted()
{
    s_cleaningUp = true;
    while (!cleanups().empty()) {
        const auto action = std::move(cleanups().back());
        cleanups().pop_back();
        action();
    }
    ::signal(s_arrived, SIG_DFL);
    ::raise(s_arrived);
    std::_Exit(128 + s_arrived);
}

}  // namespace quill
