#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "common/error.h"
#include "common/time.h"

namespace quill
{

/// Bytes to a device and back. Who speaks to a device holds a DeviceLine, not this. One thread at a
/// time. Deadlines are points in time made once by the caller; a wait past one is an error of the
/// kind Silence or, for bytes to be sent, NotTaken.
class ByteLine
{
  public:
    virtual ~ByteLine() = default;

    /// Opens the line for this process alone and discards what is waiting on it. Never blocks. What
    /// was open before is closed.
    /// @param bitRate  bits per second, any value
    [[nodiscard]] virtual std::optional<Error> open(const std::string& path, int bitRate) = 0;
    virtual void close() = 0;

    /// Of the open line, from now on.
    /// @param bitRate  as in open()
    [[nodiscard]] virtual std::optional<Error> setBitRate(int bitRate) = 0;

    /// Asks for received bytes to be handed on as soon as can be, for exchanges of a few
    /// milliseconds.
    virtual void setLowLatency() = 0;

    /// The longest that received bytes are kept back on the way. Time on the line not included.
    virtual Duration latency() const = 0;

    /// Hands all bytes to the driver.
    [[nodiscard]] virtual std::optional<Error> write(const uint8_t* bytes, size_t size,
                                                     Time deadline) = 0;

    /// Waits until the bytes have left the driver for the line: what it still holds when the line
    /// is closed may be lost.
    [[nodiscard]] virtual std::optional<Error> drain(Time deadline) = 0;

    /// Waits for the first byte, then takes what is there.
    /// @param got  number of bytes read, at least 1 on success, 0 otherwise
    [[nodiscard]] virtual std::optional<Error> readSome(uint8_t* buffer, size_t capacity,
                                                        size_t* got, Time deadline) = 0;

    /// Drops what has arrived and was not read.
    virtual void discardInput() = 0;
};

}  // namespace quill
