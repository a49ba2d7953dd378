#pragma once

#include <functional>
#include <memory>
#include <string>

#include "common/time.h"
#include "devices/serial/byte_line.h"

namespace quill
{

/// The line to one device, and how long everything on it may take. Whoever speaks to a device is
/// given one and makes its deadlines with it: what a line adds that is carried over a network is
/// added here and nowhere else. The destructor closes it. One thread at a time.
class DeviceLine
{
  public:
    using MakeBytes = std::function<std::unique_ptr<ByteLine>()>;

    /// A line as they are in this process: a SerialPort without delay unless set otherwise.
    DeviceLine();

    /// @param bytes  not empty
    /// @param delay  what every round trip takes longer than on a local line
    explicit DeviceLine(std::unique_ptr<ByteLine> bytes, Duration delay = Duration());

    /// The delay of lines that are made from now on without one.
    static void setDefaultDelay(Duration delay);

    /// What lines are made of from now on: for tests that script the device.
    /// @param make  empty: serial ports again
    static void setDefaultBytes(MakeBytes make);

    /// As ByteLine::open(). Each path may be tried, one after the other.
    [[nodiscard]] std::optional<Error> open(const std::string& path, int bitRate);
    void close() { m_bytes->close(); }

    /// That was opened last, or tried.
    const std::string& path() const { return m_path; }

    /// The end of a wait that begins now and takes `timeout` on a local line.
    Time deadlineIn(Duration timeout) const { return Time::now() + withDelay(timeout); }

    /// What a span becomes on this line in which something comes and is answered.
    Duration withDelay(Duration span) const { return span + m_delay; }

    /// The longest that a reply may take beside the device's own time and the bytes on the line:
    /// the adapter's latency and the line's delay. For devices that are known by their time-out
    /// alone.
    Duration roundTripAllowance() const { return withDelay(m_bytes->latency()); }

    // As in ByteLine.
    [[nodiscard]] std::optional<Error> setBitRate(int bitRate)
    {
        return m_bytes->setBitRate(bitRate);
    }
    void setLowLatency() { m_bytes->setLowLatency(); }
    [[nodiscard]] std::optional<Error> write(const uint8_t* bytes, size_t size, Time deadline)
    {
        return m_bytes->write(bytes, size, deadline);
    }
    [[nodiscard]] std::optional<Error> drain(Time deadline) { return m_bytes->drain(deadline); }
    [[nodiscard]] std::optional<Error> readSome(uint8_t* buffer, size_t capacity, size_t* got,
                                                Time deadline)
    {
        return m_bytes->readSome(buffer, capacity, got, deadline);
    }
    void discardInput() { m_bytes->discardInput(); }

  private:
    std::unique_ptr<ByteLine> m_bytes;
    Duration m_delay;
    std::string m_path;
};

}  // namespace quill
