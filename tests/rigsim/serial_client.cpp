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

#include "common/time.h"
#include "tests/rigsim/model_talk.h"

namespace
{

void require(bool done, const std::string& step)
{
    if (done) return;
    fmt::print(stderr, "{}: {}\n", step, std::strerror(errno));
    std::exit(1);
}

// One that was locked is free again when the rig has had its turn.
int openLine(const std::string& path)
{
    const auto end = quill::Time::now() + quill::seconds(5);
    for (;;) {
        const int line = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (line >= 0 || errno != EBUSY || quill::Time::now() > end) return line;
        poll(nullptr, 0, 1);
    }
}

bool isWhole(const std::vector<uint8_t>& packet)
{
    if (packet.front() != 0xFF) return packet.back() == 0xFF;
    return packet.size() > 4 && packet.size() == packet[3] + size_t{4};
}

}  // namespace

SerialClient::SerialClient(const std::string& path, unsigned bitRate) : m_descriptor(openLine(path))
{
    require(m_descriptor >= 0, path);
    termios2 settings{};
    require(ioctl(m_descriptor, TCGETS2, &settings) == 0, "TCGETS2");
    settings.c_cflag = (settings.c_cflag & ~static_cast<tcflag_t>(CBAUD)) | BOTHER;
    settings.c_ispeed = bitRate;
    settings.c_ospeed = bitRate;
    require(ioctl(m_descriptor, TCSETS2, &settings) == 0, "TCSETS2");
    require(ioctl(m_descriptor, TIOCEXCL) == 0, "TIOCEXCL");
}

SerialClient::~SerialClient()
{
    close(m_descriptor);
}

void SerialClient::say(const std::string& hex) const
{
    const auto bytes = model_talk::bytes(hex);
    require(write(m_descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
            "write");
}

std::string SerialClient::hear() const
{
    const auto end = quill::Time::now() + quill::seconds(5);
    std::vector<uint8_t> packet;
    while (packet.empty() || !isWhole(packet)) {
        const auto leftMs = (end - quill::Time::now()).nanoseconds() / 1000000;
        pollfd line{m_descriptor, POLLIN, 0};
        if (leftMs < 0 || poll(&line, 1, static_cast<int>(leftMs) + 1) == 0)
            return fmt::format("{:02X} silence", fmt::join(packet, " "));
        if (line.revents & POLLHUP) return fmt::format("{:02X} hung up", fmt::join(packet, " "));
        uint8_t byte = 0;
        if (read(m_descriptor, &byte, 1) == 1) packet.push_back(byte);
    }
    return fmt::format("{:02X}", fmt::join(packet, " "));
}
