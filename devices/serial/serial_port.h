#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "common/error.h"
#include "common/time.h"

namespace quill
{

class LowLatency;

/// A serial line: raw, 8 data bits, no parity, 1 stop bit, no flow control. The only code that
/// opens a tty. Owns the descriptor; the destructor closes it. One thread at a time.
///
/// Every transfer goes to the log at level 6, category "serial", as direction and hex. Deadlines
/// are points in time made once by the caller; a wait past one is an error with the number
/// ETIMEDOUT.
class SerialPort
{
  public:
    SerialPort();
    ~SerialPort();
    SerialPort(const SerialPort&) = delete;
    SerialPort& operator=(const SerialPort&) = delete;

    /// Opens the line for this process alone and discards what is waiting on it. Never blocks.
    /// @param bitRate  bits per second, any value; refused when the line ends up more than 3 % off
    [[nodiscard]] std::optional<Error> open(const std::string& path, int bitRate);
    void close();
    bool isOpen() const { return m_fd >= 0; }
    const std::string& path() const { return m_path; }

    /// Asks the adapter of the open line to hand on received bytes as soon as it can, for exchanges
    /// of a few milliseconds; put back at close(). Adapters that cannot do so stay as they are.
    void setLowLatency();

    /// The longest that the adapter keeps back a reply: its latency timer in force, nothing for a
    /// pseudo terminal, 4 ms where the system does not know; and the line delay. Time on the line
    /// not included.
    Duration roundTripAllowance() const;

    /// What every round trip on every line takes longer in this process: for a line that is carried
    /// over a network. A part of roundTripAllowance(); what knows an exchange by its time-out alone
    /// adds it there. 0 unless set.
    static void setLineDelay(Duration delay);
    static Duration lineDelay();

    /// Hands all bytes to the driver.
    [[nodiscard]] std::optional<Error> write(const uint8_t* bytes, size_t size, Time deadline);

    /// Waits until the bytes have left the driver for the line: what it still holds when the line
    /// is closed may be lost.
    [[nodiscard]] std::optional<Error> drain(Time deadline);

    /// Waits for the first byte, then takes what is there.
    /// @param got  number of bytes read, at least 1 on success, 0 otherwise
    [[nodiscard]] std::optional<Error> readSome(uint8_t* buffer, size_t capacity, size_t* got,
                                                Time deadline);

    /// Drops what has arrived and was not read.
    void discardInput();

  private:
    [[nodiscard]] std::optional<Error> openDescriptor();
    [[nodiscard]] std::optional<Error> lockForThisProcess();
    [[nodiscard]] std::optional<Error> setBitRate(int bitRate);
    [[nodiscard]] std::optional<Error> waitFor(short events, const char* step, Time deadline);
    Error systemError(const char* step, int number) const;
    Error hungUp(const char* step) const;
    void trace(const char* direction, const uint8_t* bytes, size_t size) const;

    int m_fd = -1;
    std::string m_path;
    std::unique_ptr<LowLatency> m_lowLatency;
};

/// Whether the error means that the device is gone: nothing more will come from this open line.
bool isLineLost(const Error& error);

}  // namespace quill
