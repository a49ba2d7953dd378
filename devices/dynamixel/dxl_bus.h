#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "bus_log.h"
#include "bus_memory.h"
#include "common/recursive_mutex.h"
#include "common/time.h"
#include "devices/dynamixel/dxl_codec.h"
#include "devices/serial/device_line.h"

namespace quill::dynamixel
{

/// The controller's side of a Dynamixel bus: asks a servo and finds the answer that belongs to the
/// request among noise, the adapter's echo and late answers. Failures are logged as BusLog does.
/// Every exchange has a deadline computed from the bytes on the line at the bit rate, the longest
/// return delay, and what the adapter, USB and a busy machine add.
class DxlBus
{
  public:
    /// @param line  the bus; not open yet
    /// @param lock  held during each exchange; may be empty
    explicit DxlBus(DeviceLine line, std::shared_ptr<RecursiveMutex> lock = nullptr)
        : m_line(std::move(line)), m_lock(std::move(lock))
    {}

    ~DxlBus() { m_log.tellLosses(m_line.path()); }
    DxlBus(const DxlBus&) = delete;
    DxlBus& operator=(const DxlBus&) = delete;

    /// Not logged: the caller knows what a line that cannot be opened means to it.
    [[nodiscard]] std::optional<Error> open(const std::string& device, int baudNumber);

    /// Asks up to three times where the answer is missing or damaged.
    /// @return the register's value, or -1, logged: no answer, damaged, refused, out of range
    int read(int id, int address, Width width);

    /// @return false, logged: refused, damaged answer, out of range, no servo there. True when the
    /// servo took the value or, not set to answer writes, answered a ping.
    bool write(int id, int address, int value, Width width);

    /// A servo that does not answer is then no failure but tracing detail, and is not asked again.
    void setSilenceExpected(bool expected)
    {
        m_silenceExpected = expected;
        m_log.setSilenceExpected(expected);
    }

    bool isLineLost() const { return m_lineLost; }

  private:
    struct Request
    {
        InstructionPacket packet;
        size_t answerParameters;  ///< of the status packet that answers it
        std::string what;         ///< for the log
    };

    // All of these: answer has no parameters when the servo refused: the error bits say why.

    /// After a write that was not answered.
    /// @param answer  the late one to the write, or the one to a ping
    /// @return the write's failure, when no servo with its ID answers a ping
    [[nodiscard]] std::optional<Error> seekServo(const Request& write, StatusPacket* answer);
    /// As exchange(), for a request that may be repeated: is.
    [[nodiscard]] std::optional<Error> ask(const Request& request, StatusPacket* answer);
    [[nodiscard]] std::optional<Error> exchange(const Request& request, StatusPacket* answer);
    [[nodiscard]] std::optional<Error> send(const Request& request, Time deadline);
    /// @param hasOther  whether an answer of this servo came that nobody asked for
    [[nodiscard]] std::optional<Error> awaitAnswer(const Request& request, StatusPacket* answer,
                                                   bool* hasOther, Time deadline);
    /// Behind the answer, unless the servo is known to be alone: does another one answer too?
    [[nodiscard]] std::optional<Error> listenForAnother(const Request& request, bool hasOther);
    void takeStrays();
    void noteStray(const StatusPacket& packet);
    [[nodiscard]] std::optional<Error> receive(const Request& request, Time deadline);

    bool isWorthRepeating(const Error& error) const;
    bool isAnswer(const StatusPacket& packet, const Request& request) const;
    void expectLateAnswer(const Request& request);
    [[nodiscard]] std::optional<Error> awaitLateAnswer(const Request& request);

    Duration timeOnLine(size_t bytes) const;
    std::unique_lock<RecursiveMutex> hold() const;

    Error failure(const Request& request, ErrorKind kind, const std::string& reason,
                  const std::string& remedy) const;
    void fail(int id, const Error& error);

    DeviceLine m_line;
    int m_bitRate = 0;
    Duration m_adapterDelay;  ///< latency timer beyond 1 ms, and the line's own delay
    bool m_lineEchoes = false;
    StatusReader m_reader{3};  ///< a request for a word, which an adapter may echo, has most
    Time m_lineFree;           ///< when what was sent and needs no answer has left

    std::shared_ptr<BusMemory> m_memory;  ///< of the open line
    std::shared_ptr<RecursiveMutex> m_lock;
    bool m_silenceExpected = false;
    bool m_lineLost = false;
    BusLog m_log;
};

}  // namespace quill::dynamixel
