#pragma once

#include <array>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "common/recursive_mutex.h"
#include "common/time.h"
#include "devices/dynamixel/dxl_codec.h"
#include "devices/serial/device_line.h"

namespace quill::dynamixel
{

/// The controller's side of a Dynamixel bus: asks a servo and finds the answer that belongs to the
/// request among noise, the adapter's echo and late answers. Logs failures, category "dynamixel",
/// at level 3; one that a poll meets again is tracing detail (level 5) until the servo answers, and
/// for 10 s in any case. Error bits that stay are told once. Every exchange has a deadline computed
/// from the bytes on the line at the bit rate, the longest return delay, and what the adapter, USB
/// and a busy machine add.
class DxlBus
{
  public:
    /// @param line  the bus; not open yet
    /// @param lock  held during each exchange; may be empty
    explicit DxlBus(DeviceLine line, std::shared_ptr<RecursiveMutex> lock = nullptr)
        : m_line(std::move(line)), m_lock(std::move(lock))
    {}

    /// Not logged: the caller knows what a line that cannot be opened means to it.
    [[nodiscard]] std::optional<Error> open(const std::string& device, int baudNumber);

    /// @return the register's value, or -1, logged: no answer, damaged, refused, out of range
    int read(int id, int address, Width width);

    /// @return false, logged: refused, damaged answer, out of range. True when the servo took the
    /// value or, not set to answer writes, gave no sign.
    bool write(int id, int address, int value, Width width);

    /// A servo that does not answer is then no failure but tracing detail.
    void setSilenceExpected(bool expected) { m_silenceExpected = expected; }

    bool isLineLost() const { return m_lineLost; }

  private:
    /// As exchange(), for a request that may be repeated.
    [[nodiscard]] std::optional<Error> ask(const InstructionPacket& request,
                                           size_t answerParameters, StatusPacket* answer);
    /// @param answerParameters  of the status packet that answers the request
    /// @param answer  has no parameters when the servo refused: the error bits say why
    [[nodiscard]] std::optional<Error> exchange(const InstructionPacket& request,
                                                size_t answerParameters, StatusPacket* answer);
    [[nodiscard]] std::optional<Error> send(const InstructionPacket& request, Time deadline);
    [[nodiscard]] std::optional<Error> awaitAnswer(const InstructionPacket& request,
                                                   size_t answerParameters, StatusPacket* answer,
                                                   Time deadline);
    [[nodiscard]] std::optional<Error> receive(Time deadline);

    bool isAnswer(const StatusPacket& packet, size_t answerParameters) const;
    void expectLateAnswer(const InstructionPacket& request, size_t answerParameters);
    bool mayComeLate(int id, size_t answerParameters) const;
    [[nodiscard]] std::optional<Error> awaitLateAnswer(int id, size_t answerParameters);

    Duration timeOnLine(size_t bytes) const;
    std::unique_lock<RecursiveMutex> hold() const;

    Error noAnswer(bool damaged) const;
    bool isNews(int id, const std::string& failure);
    void forgetOldFailures(int id);
    void reportFailure(int id, const std::string& what, Error error);
    void reportErrorBits(const std::string& what, const StatusPacket& answer);

    DeviceLine m_line;
    int m_bitRate = 0;
    Duration m_adapterDelay;  ///< latency timer beyond 1 ms, and the line's own delay
    bool m_lineEchoes = false;
    StatusReader m_reader{3};  ///< a request for a word, which an adapter may echo, has most
    Time m_lineFree;           ///< when what was sent and needs no answer has left

    /// When the last answer to an unanswered request must have come, by its ID and parameters.
    std::array<std::array<Time, kWord + 1>, kLastServoId + 1> m_lateUntil{};

    std::shared_ptr<RecursiveMutex> m_lock;
    bool m_silenceExpected = false;
    bool m_lineLost = false;
    std::map<int, std::map<std::string, Time>> m_told;  ///< failures and when they were told
    std::map<int, uint8_t> m_errorBits;                 ///< in its last answer
};

}  // namespace quill::dynamixel
