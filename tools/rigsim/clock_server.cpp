#include "tools/rigsim/clock_server.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace rigsim
{
namespace
{

constexpr int kBacklog = 16;

// A program that ends before its answer is no fault of ours.
void send(int descriptor, uint64_t number, Time now)
{
    const ClockAnswer answer{number, now.nanoseconds()};
    (void)::send(descriptor, &answer, sizeof answer, MSG_NOSIGNAL);
}

}  // namespace

ClockServer::ClockServer()
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path().copy(address.sun_path, sizeof address.sun_path - 1);
    const auto* const generic = reinterpret_cast<const sockaddr*>(&address);
    m_listener = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (m_listener >= 0 && bind(m_listener, generic, sizeof address) == 0 &&
        listen(m_listener, kBacklog) == 0)
        return;
    const int number = errno;
    close(m_listener);
    throw std::system_error(number, std::generic_category(), "the clock's socket");
}

ClockServer::~ClockServer()
{
    for (const Program& program : m_programs) close(program.descriptor);
    close(m_listener);
}

void ClockServer::addDescriptors(std::vector<pollfd>* polled) const
{
    polled->push_back({m_listener, POLLIN, 0});
    for (const Program& program : m_programs) polled->push_back({program.descriptor, POLLIN, 0});
}

void ClockServer::takeRequests(Time now)
{
    const auto hasGone = [&](Program& program) { return !takeRequest(&program, now); };
    m_programs.erase(std::remove_if(m_programs.begin(), m_programs.end(), hasGone),
                     m_programs.end());
    // Last: a program connects for its child before it waits, and then time waits for the child.
    accept(now);
}

void ClockServer::accept(Time now)
{
    for (;;) {
        const int descriptor = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (descriptor < 0) return;
        m_programs.push_back({descriptor, 0, {}, Time::now()});
        send(descriptor, 0, now);
    }
}

bool ClockServer::takeRequest(Program* program, Time now)
{
    for (;;) {
        ClockRequest request{};
        const ssize_t got = recv(program->descriptor, &request, sizeof request, 0);
        if (got < 0 && (errno == EAGAIN || errno == EINTR)) return true;
        if (got != sizeof request) {
            close(program->descriptor);
            return false;
        }
        // What was asked for before is answered with it.
        program->request = request.number;
        program->waitsUntil = Time(request.end);
        if (Time(request.end) <= now) answer(program, now);
    }
}

std::optional<Time> ClockServer::earliestEnd() const
{
    std::optional<Time> earliest;
    for (const Program& program : m_programs) {
        const bool works = !program.waitsUntil;
        if (works && Time::now() - program.worksSince < kLongestWork) return std::nullopt;
        if (!works && (!earliest || *program.waitsUntil < *earliest)) earliest = program.waitsUntil;
    }
    return earliest;
}

void ClockServer::answer(Time now)
{
    for (Program& program : m_programs)
        if (program.waitsUntil) answer(&program, now);
}

void ClockServer::answer(Program* program, Time now)
{
    program->waitsUntil.reset();
    program->worksSince = Time::now();
    send(program->descriptor, program->request, now);
}

}  // namespace rigsim
