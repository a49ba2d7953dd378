// Preloaded into a program on a simulated rig: its monotonic clock is the rig's, which goes on only
// while the program waits. What is said within a time-out is heard, and a wait of 30 s is over at
// once, however busy the computer is. Without RIGSIM_CLOCK the program keeps its own clock. Only
// the waits of its main thread count: others are those of libraries, for what no rig does.
//
// With PROGRAM_INTERRUPT=MS the program gets Ctrl-C so long after its start, by that clock.

#include <dlfcn.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#include "tools/rigsim/clock_packets.h"

/// Seen by the dynamic linker, which prefers it to the C library's.
#define PREFERRED extern "C" __attribute__((visibility("default")))

namespace
{

using rigsim::ClockAnswer;
using rigsim::ClockRequest;

constexpr uint64_t kSecond = 1000000000;
constexpr uint64_t kMillisecond = 1000000;
/// What a wait takes at least, so that a loop that only looks comes to its end too.
constexpr uint64_t kLook = 1000;
constexpr uint64_t kNever = UINT64_MAX;

template <typename Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

int pollNow(pollfd* descriptors, nfds_t count, const timespec* timeout, const sigset_t* mask)
{
    static const auto real = next<int(pollfd*, nfds_t, const timespec*, const sigset_t*)>("ppoll");
    return real(descriptors, count, timeout, mask);
}

// The system call itself: a sanitizer's allocator asks for the time while nothing may be looked up.
int systemTime(clockid_t clock, timespec* time)
{
    return static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
}

uint64_t systemNow()
{
    timespec time{};
    systemTime(CLOCK_MONOTONIC, &time);
    return static_cast<uint64_t>(time.tv_sec) * kSecond + static_cast<uint64_t>(time.tv_nsec);
}

uint64_t nanoseconds(const timespec& time)
{
    return static_cast<uint64_t>(time.tv_sec) * kSecond + static_cast<uint64_t>(time.tv_nsec);
}

/// The rig's clock as the program knows it.
class RigClock
{
  public:
    RigClock()
    {
        const char* const path = std::getenv("RIGSIM_CLOCK");
        if (path == nullptr) return;
        std::strncpy(m_address.sun_path, path, sizeof m_address.sun_path - 1);
        m_socket = connectAnew();
        if (!takeAnswer(0)) giveUp();
        // Beyond the system's: a timer that a library has set by our clock must not be over
        // already.
        m_ahead = systemNow() + 1000 * kSecond - m_now;
        if (const char* const after_ms = std::getenv("PROGRAM_INTERRUPT"))
            m_interruptAt = m_now + std::strtoull(after_ms, nullptr, 10) * kMillisecond;
    }

    bool isThere() const { return m_socket >= 0; }
    uint64_t now() const { return m_now + m_ahead; }

    int wait(pollfd* descriptors, nfds_t count, const timespec* timeout, const sigset_t* mask)
    {
        const uint64_t end =
            timeout == nullptr ? kNever : m_now + std::max(nanoseconds(*timeout), kLook);
        for (;;) {
            interruptWhenDue();
            const timespec none{};
            const int ready = pollNow(descriptors, count, &none, mask);
            if (ready != 0 || m_now >= end) return ready;
            const int error = goOn(descriptors, count, std::min(end, m_interruptAt), mask);
            if (error != 0) {
                errno = error;
                return -1;
            }
        }
    }

    /// A child is a program of its own, which the rig knows before its parent goes on.
    pid_t forkWith(pid_t (*fork)())
    {
        const int ofChild = connectAnew();
        const pid_t child = fork();
        if (child != 0) {
            ::close(ofChild);
            return child;
        }
        ::close(m_socket);
        m_socket = ofChild;
        m_interruptAt = kNever;
        if (!takeAnswer(0)) giveUp();
        return child;
    }

  private:
    int connectAnew() const
    {
        const int connected = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
        const auto* const generic = reinterpret_cast<const sockaddr*>(&m_address);
        if (::connect(connected, generic, sizeof m_address) != 0) giveUp();
        return connected;
    }

    /// Lets time go on to what comes next. @return 0 or the cause, EINTR
    int goOn(const pollfd* descriptors, nfds_t count, uint64_t end, const sigset_t* mask)
    {
        std::vector<pollfd> polled(descriptors, descriptors + count);
        polled.push_back({m_socket, POLLIN, 0});
        ask(end);
        const int ready = pollNow(polled.data(), polled.size(), nullptr, mask);
        const int error = ready < 0 ? errno : 0;
        // Something else has come first: time must not go on while the program works.
        if (polled.back().revents == 0) ask(m_now);
        if (!takeAnswer(m_number)) giveUp();
        return error;
    }

    void ask(uint64_t end)
    {
        const ClockRequest request{++m_number, end};
        (void)::send(m_socket, &request, sizeof request, MSG_NOSIGNAL);
    }

    bool takeAnswer(uint64_t number)
    {
        for (;;) {
            ClockAnswer answer{};
            const ssize_t got = ::recv(m_socket, &answer, sizeof answer, 0);
            if (got < 0 && errno == EINTR) continue;
            if (got != sizeof answer) return false;
            m_now = answer.now;
            if (answer.number == number) return true;
        }
    }

    [[noreturn]] static void giveUp()
    {
        static const char text[] = "rig_clock: the rig does not answer\n";
        [[maybe_unused]] const ssize_t put = ::write(STDERR_FILENO, text, sizeof text - 1);
        ::_exit(125);
    }

    void interruptWhenDue()
    {
        if (m_now < m_interruptAt) return;
        m_interruptAt = kNever;
        ::kill(::getpid(), SIGINT);
    }

    sockaddr_un m_address{AF_UNIX, {}};
    int m_socket = -1;
    uint64_t m_number = 0;
    std::atomic<uint64_t> m_now = 0;  // read in signal handlers too
    uint64_t m_ahead = 0;
    uint64_t m_interruptAt = kNever;
};

/// Null until the clock is made, while this library is loaded: its making may ask for the time.
RigClock* s_rigClock = nullptr;

__attribute__((constructor)) void makeRigClock()
{
    static RigClock theClock;
    if (theClock.isThere()) s_rigClock = &theClock;
}

}  // namespace

PREFERRED int clock_gettime(clockid_t clock, timespec* time)
{
    if (clock != CLOCK_MONOTONIC || s_rigClock == nullptr) return systemTime(clock, time);
    const uint64_t now = s_rigClock->now();
    *time = {static_cast<time_t>(now / kSecond), static_cast<long>(now % kSecond)};
    return 0;
}

PREFERRED int ppoll(pollfd* descriptors, nfds_t count, const timespec* timeout,
                    const sigset_t* mask)
{
    const bool isMainThread = ::gettid() == ::getpid();
    if (!isMainThread || s_rigClock == nullptr) return pollNow(descriptors, count, timeout, mask);
    return s_rigClock->wait(descriptors, count, timeout, mask);
}

PREFERRED int poll(pollfd* descriptors, nfds_t count, int timeout_ms)
{
    const timespec timeout = {timeout_ms / 1000, timeout_ms % 1000 * 1000000L};
    return ppoll(descriptors, count, timeout_ms < 0 ? nullptr : &timeout, nullptr);
}

PREFERRED pid_t fork()
{
    const auto real = next<pid_t()>("fork");
    return s_rigClock == nullptr ? real() : s_rigClock->forkWith(real);
}
