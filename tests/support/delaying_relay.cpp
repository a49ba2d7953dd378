#include "support/delaying_relay.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <deque>
#include <stdexcept>
#include <string>

namespace support
{
namespace
{

using quill::Time;

sockaddr_in here(uint16_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int listenAnywhere(uint16_t* port)
{
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = here(0);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    if (::bind(listener, any, size) != 0 || ::listen(listener, 1) != 0 ||
        ::getsockname(listener, any, &size) != 0)
        throw std::runtime_error("no TCP port to be had");
    *port = ntohs(address.sin_port);
    return listener;
}

/// One way through the relay.
struct Way
{
    int from, to;
    std::deque<std::pair<Time, std::string>> underWay = {};

    /// @return false when the connection has ended
    bool take(quill::Duration delay)
    {
        char buffer[512];
        const ssize_t got = ::recv(from, buffer, sizeof buffer, MSG_DONTWAIT);
        if (got > 0)
            underWay.emplace_back(Time::now() + delay,
                                  std::string(buffer, static_cast<size_t>(got)));
        return got != 0;
    }
    void handOn()
    {
        for (; !underWay.empty() && underWay.front().first <= Time::now(); underWay.pop_front()) {
            const std::string& bytes = underWay.front().second;
            (void)::send(to, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        }
    }
};

}  // namespace

uint16_t freePort()
{
    uint16_t port = 0;
    ::close(listenAnywhere(&port));
    return port;
}

DelayingRelay::DelayingRelay(uint16_t target, quill::Duration delay)
    : m_target(target), m_delay(delay), m_listener(listenAnywhere(&m_port))
{
    m_thread = std::thread(&DelayingRelay::run, this);
}

DelayingRelay::~DelayingRelay()
{
    m_ends = true;
    ::shutdown(m_listener, SHUT_RDWR);
    m_thread.join();
    ::close(m_listener);
}

void DelayingRelay::run()
{
    const int client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = here(m_target);
    const int at_once = 1;
    for (const int end : {client, server})
        (void)::setsockopt(end, IPPROTO_TCP, TCP_NODELAY, &at_once, sizeof at_once);
    bool isUp = client >= 0;
    // The program behind the other port may still be starting.
    while (isUp && !m_ends &&
           ::connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        (void)::poll(nullptr, 0, 10);
    Way ways[] = {{client, server}, {server, client}};
    while (isUp && !m_ends) {
        pollfd ends[] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
        (void)::poll(ends, 2, 1);
        for (Way& way : ways) {
            isUp = isUp && way.take(m_delay);
            way.handOn();
        }
    }
    ::close(client);
    ::close(server);
}

}  // namespace support
