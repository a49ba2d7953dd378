#pragma once

#include <array>
#include <deque>
#include <optional>
#include <string>
#include <utility>

#include "common/time.h"
#include "devices/serial/device_line.h"
#include "devices/visca/visca_codec.h"

namespace quill::visca
{

/// One controller's side of a VISCA line with one camera: sends a packet and finds the reply that
/// belongs to it among late completions, network changes, noise and echo. Time-outs are for a whole
/// exchange. An Error with number 0 is the camera's refusal, ETIMEDOUT its silence.
class Conversation
{
  public:
    /// When a command counts as done.
    enum class Until {
        Taken,      ///< acknowledged, or completed without that
        Completed,  ///< the action has ended
    };

    /// @param line  not open yet
    explicit Conversation(DeviceLine line) : m_line(std::move(line)) {}

    const std::string& device() const { return m_line.path(); }

    [[nodiscard]] std::optional<Error> open(const std::string& device, Duration timeout);

    /// @param what  the command in words, for the error text
    [[nodiscard]] std::optional<Error> command(const Bytes& packet, const std::string& what,
                                               Until until, Duration timeout);

    /// @param dataBytes  length of the reply's data; another length is not the reply
    [[nodiscard]] std::optional<Error> inquire(const Bytes& packet, const std::string& what,
                                               size_t dataBytes, Bytes* data, Duration timeout);

  private:
    [[nodiscard]] std::optional<Error> findCamera(Time deadline);
    [[nodiscard]] std::optional<Error> clearInterface(Time deadline);
    [[nodiscard]] std::optional<Error> awaitTaken(const std::string& what, Time deadline,
                                                  Reply* answer);
    [[nodiscard]] std::optional<Error> awaitCompletion(int socket, const std::string& what,
                                                       Time deadline);
    [[nodiscard]] std::optional<Error> send(const Bytes& packet, Time deadline);
    [[nodiscard]] std::optional<Error> nextReply(Reply* reply, Time deadline);
    [[nodiscard]] std::optional<Error> awaitFreeSocket(Time deadline);
    /// Reads and books replies until none has come for as long as `quiet`.
    [[nodiscard]] std::optional<Error> awaitQuiet(Duration quiet, Time deadline);

    /// Whether the completion ends a command that was acknowledged before, and books it.
    bool endsEarlierCommand(const Reply& completion);

    Error refusal(const std::string& what, uint8_t error) const;
    Error explain(Error error, const std::string& what) const;

    DeviceLine m_line;
    PacketReader m_reader;
    std::deque<Reply> m_replies;       ///< read from the line and not yet looked at
    std::array<int, 16> m_underWay{};  ///< commands acknowledged and not completed, by socket
    Time m_lastLook;                   ///< the deadline after which a last look has been taken
    bool m_lineEchoes = false;
};

}  // namespace quill::visca
