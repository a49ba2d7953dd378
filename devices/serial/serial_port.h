#pragma once

#include <memory>
#include <optional>
#include <string>

#include "devices/serial/byte_line.h"

namespace quill
{

class LowLatency;

/// A serial line: raw, 8 data bits, no parity, 1 stop bit, no flow control. The only code that
/// opens a tty. Owns the descriptor; the destructor closes it.
///
/// Every transfer goes to the log at level 6, category "serial", as direction and hex.
class SerialPort final : public ByteLine
{
  public:
    SerialPort();
    ~SerialPort() override;
    SerialPort(const SerialPort&) = delete;
    SerialPort& operator=(const SerialPort&) = delete;

    /// Refused when the line ends up more than 3 % off the bit rate; so is setBitRate().
    [[nodiscard]] std::optional<Error> open(const std::string& path, int bitRate) override;
    void close() override;
    [[nodiscard]] std::optional<Error> setBitRate(int bitRate) override;
    bool isOpen() const { return m_fd >= 0; }

    /// Holds for the open line and is put back at close(). Adapters that cannot do so stay as they
    /// are.
    void setLowLatency() override;

    /// The adapter's latency timer in force, nothing for a pseudo terminal, 4 ms where the system
    /// does not know.
    Duration latency() const override;

    [[nodiscard]] std::optional<Error> write(const uint8_t* bytes, size_t size,
                                             Time deadline) override;
    [[nodiscard]] std::optional<Error> drain(Time deadline) override;
    [[nodiscard]] std::optional<Error> readSome(uint8_t* buffer, size_t capacity, size_t* got,
                                                Time deadline) override;
    void discardInput() override;

  private:
    friend class LineGuard;  // works on the same open line, from two processes

    [[nodiscard]] std::optional<Error> openDescriptor();
    [[nodiscard]] std::optional<Error> lockForThisProcess();
    [[nodiscard]] std::optional<Error> waitFor(short events, const char* step, Time deadline);
    Error systemError(const char* step, int number) const;
    Error timedOut(const char* step, ErrorKind kind) const;
    Error hungUp(const char* step) const;
    void trace(const char* direction, const uint8_t* bytes, size_t size) const;

    int m_fd = -1;
    std::string m_path;
    std::unique_ptr<LowLatency> m_lowLatency;
};

}  // namespace quill
