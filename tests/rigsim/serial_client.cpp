#include "tests/rigsim/serial_client.h"

#include <asm/termbits.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "common/time.h"

namespace
{

void require(bool done, const std::string& step)
{
    if (done) return;
    fmt::print(stderr, "{}: {}\n", step, std::strerror(errno));
    std::exit(1);
}

bool isWhole(const std::vector<uint8_t>& packet)
{
    if (packet.front() != 0xFF) return packet.back() == 0xFF;
    return packet.size() > 4 && packet.size() == packet[3] + size_t{4};
}

std::string toHex(const std::vector<uint8_t>& packet)
{
    return fmt::format("{:02X}", fmt::join(packet, " "));
}

}  // namespace

SerialClient::SerialClient(const std::string& path, unsigned bitRate)
    : m_descriptor(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
{
    require(m_descriptor >= 0, path);
    termios2 settings{};
    require(ioctl(m_descriptor, TCGETS2, &settings) == 0, "TCGETS2");
    settings.c_cflag = (settings.c_cflag & ~static_cast<tcflag_t>(CBAUD)) | BOTHER;
    settings.c_ispeed = bitRate;
    settings.c_ospeed = bitRate;
    require(ioctl(m_descriptor, TCSETS2, &settings) == 0, "TCSETS2");
}

SerialClient::~SerialClient()
{
    close(m_descriptor);
}

unsigned SerialClient::bitRate() const
{
    termios2 settings{};
    require(ioctl(m_descriptor, TCGETS2, &settings) == 0, "TCGETS2");
    return settings.c_ospeed;
}

bool SerialClient::makeExclusive() const
{
    return ioctl(m_descriptor, TIOCEXCL) == 0;
}

void SerialClient::say(const std::string& hex) const
{
    std::istringstream in(hex);
    std::string bytes;
    for (unsigned byte = 0; in >> std::hex >> byte;) bytes += static_cast<char>(byte);
    require(write(m_descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
            "write");
}

std::string SerialClient::hear(int timeoutMs) const
{
    const auto end = quill::Time::now() + quill::milliseconds(timeoutMs);
    std::vector<uint8_t> packet;
    for (auto left = end - quill::Time::now(); left > quill::Duration();
         left = end - quill::Time::now()) {
        pollfd line{m_descriptor, POLLIN, 0};
        poll(&line, 1, static_cast<int>(left.nanoseconds() / 1000000) + 1);
        if (line.revents & POLLHUP)
            return toHex(packet) + (packet.empty() ? "hung up" : " hung up");
        uint8_t byte = 0;
        if (!(line.revents & POLLIN) || read(m_descriptor, &byte, 1) != 1) continue;
        packet.push_back(byte);
        if (isWhole(packet)) return toHex(packet);
    }
    return toHex(packet) + (packet.empty() ? "silence" : " silence");
}
