#include "dynamixel/scripted_line.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <utility>

#include "devices/serial/serial_port.h"
#include "support/fake_clock.h"

namespace
{

std::deque<std::pair<quill::Time, support::Bytes>> s_arrivals;

const quill::Error kUnpluggedError = {"", "", EIO, "", "unplugged?"};

}  // namespace

support::ScriptedLine& support::line()
{
    static ScriptedLine line;
    return line;
}

namespace quill
{

class LowLatency
{};

SerialPort::SerialPort() = default;
SerialPort::~SerialPort() = default;

std::optional<Error> SerialPort::open(const std::string& path, int)
{
    m_path = path;
    s_arrivals.clear();
    return std::nullopt;
}

void SerialPort::setLowLatency() {}

Duration SerialPort::roundTripAllowance() const
{
    return support::line().adapterDelay;
}

std::optional<Error> SerialPort::write(const uint8_t*, size_t, Time)
{
    if (!s_arrivals.empty() && s_arrivals.front().second.empty()) return kUnpluggedError;
    support::ScriptedLine& line = support::line();
    if (line.onRequest) line.onRequest();
    support::advanceClock(line.writeTakes);
    Time at = Time::now();
    const size_t next = line.requests++;
    for (const auto& piece : next < line.script.size() ? line.script[next] : line.usual)
        s_arrivals.emplace_back(at = at + piece.after, piece.bytes);
    return std::nullopt;
}

std::optional<Error> SerialPort::readSome(uint8_t* buffer, size_t, size_t* got, Time deadline)
{
    *got = 0;
    const bool comes =
        !s_arrivals.empty() && s_arrivals.front().first <= std::max(deadline, Time::now());
    const Time until = comes ? s_arrivals.front().first : deadline;
    support::advanceClock(std::max(until - Time::now(), Duration()));
    if (!comes) return Error{"", "", ETIMEDOUT, "", ""};
    const support::Bytes bytes = s_arrivals.front().second;
    if (bytes.empty()) return kUnpluggedError;
    s_arrivals.pop_front();
    std::copy(bytes.begin(), bytes.end(), buffer);
    *got = bytes.size();
    return std::nullopt;
}

void SerialPort::discardInput()
{
    while (!s_arrivals.empty() && s_arrivals.front().first <= Time::now() &&
           !s_arrivals.front().second.empty())
        s_arrivals.pop_front();
}

bool isLineLost(const Error& error)
{
    return error.number == EIO;
}

}  // namespace quill
