#include "dynamixel/scripted_line.h"

#include <algorithm>
#include <cerrno>
#include <deque>

#include "devices/serial/serial_port.h"
#include "support/fake_clock.h"

namespace
{

struct Arrival
{
    quill::Time at;
    support::Bytes bytes;
};

std::deque<Arrival> s_arrivals;

quill::Error failure(const char* step, int number)
{
    return {"/dev/servos", step, number, "", number == EIO ? "unplugged?" : ""};
}

void waitUntil(quill::Time time)
{
    support::advanceClock(std::max(time - quill::Time::now(), quill::Duration()));
}

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

std::optional<Error> SerialPort::open(const std::string& path, int bitRate)
{
    m_path = path;
    s_arrivals.clear();
    support::line().bitRate = bitRate;
    if (path != "/dev/ttyMissing") return std::nullopt;
    return Error{path, "open", ENOENT, "", "is it plugged in?"};
}

void SerialPort::setLowLatency() {}

Duration SerialPort::roundTripAllowance() const
{
    return support::line().adapterDelay;
}

std::optional<Error> SerialPort::write(const uint8_t*, size_t, Time)
{
    if (!s_arrivals.empty() && s_arrivals.front().bytes.empty()) return failure("write", EIO);
    support::ScriptedLine& line = support::line();
    if (line.onRequest) line.onRequest();
    Time at = Time::now();
    const size_t next = line.requests++;
    for (const auto& piece : next < line.script.size() ? line.script[next] : line.usual)
        s_arrivals.push_back({at = at + piece.after, piece.bytes});
    return std::nullopt;
}

std::optional<Error> SerialPort::readSome(uint8_t* buffer, size_t, size_t* got, Time deadline)
{
    *got = 0;
    if (s_arrivals.empty() || s_arrivals.front().at > std::max(deadline, Time::now())) {
        waitUntil(deadline);
        return failure("read", ETIMEDOUT);
    }
    waitUntil(s_arrivals.front().at);
    const support::Bytes bytes = s_arrivals.front().bytes;
    if (bytes.empty()) return failure("read", EIO);
    s_arrivals.pop_front();
    std::copy(bytes.begin(), bytes.end(), buffer);
    *got = bytes.size();
    return std::nullopt;
}

void SerialPort::discardInput()
{
    while (!s_arrivals.empty() && s_arrivals.front().at <= Time::now() &&
           !s_arrivals.front().bytes.empty())
        s_arrivals.pop_front();
}

bool isLineLost(const Error& error)
{
    return error.number == EIO;
}

}  // namespace quill
