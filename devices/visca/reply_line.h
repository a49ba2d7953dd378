#pragma once

#include <deque>
#include <optional>
#include <string>

#include "common/time.h"
#include "devices/serial/device_line.h"
#include "devices/visca/visca_codec.h"

namespace quill::visca
{

/// Whether time ran out: the camera said nothing, or the line did not take what was to be sent.
bool isTimeout(const std::optional<Error>& error);

/// A camera's line as packets: what is sent, and the replies among what comes back. An Error of
/// the kind Silence is the camera's.
class ReplyLine
{
  public:
    /// @param line  not open yet
    explicit ReplyLine(DeviceLine line) : m_line(std::move(line)) {}

    const DeviceLine& line() const { return m_line; }

    [[nodiscard]] std::optional<Error> open(const std::string& device, int bitRate);
    int bitRate() const { return m_bitRate; }
    [[nodiscard]] std::optional<Error> setBitRate(int bitRate);

    [[nodiscard]] std::optional<Error> send(const Bytes& packets, Time deadline);
    [[nodiscard]] std::optional<Error> next(Reply* reply, Time deadline);

    /// Whether something has come that is no reply, or the beginning of a packet.
    bool isDisturbed() const { return m_hasRubbish || m_reader.isInPacket(); }

    /// An exchange begins: what has come so far is of no interest any more.
    void forget() { m_came.clear(); }
    /// "no answer", or what has come instead since forget(): its last bytes.
    std::string silenceText() const;

  private:
    void take(uint8_t byte);

    DeviceLine m_line;
    int m_bitRate = 0;
    PacketReader m_reader;
    std::deque<Reply> m_replies;  ///< read from the line and not yet looked at
    Time m_lastLook;              ///< the deadline after which a last look has been taken
    bool m_hasRubbish = false;
    Bytes m_came;
};

}  // namespace quill::visca
