#pragma once

#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/time.h"
#include "devices/visca/visca_codec.h"
#include "order_book.h"
#include "reply_line.h"

namespace quill::visca
{

/// One controller's side of a VISCA line with one camera: sends a packet and finds the reply that
/// belongs to it among late completions and refusals, network changes, noise and echo. Time-outs
/// are for a whole exchange. An Error of the kind Refused is the camera's refusal, Silence its
/// silence.
class Conversation
{
  public:
    /// When a command counts as done.
    enum class Until {
        Taken,      ///< acknowledged, or completed without that
        Completed,  ///< the action has ended
    };

    /// An order that the camera has given up after it had taken it.
    struct LateRefusal
    {
        int order;
        Error error;
    };

    /// @param line  not open yet
    explicit Conversation(DeviceLine line) : m_line(std::move(line)) {}

    const std::string& device() const { return m_line.line().path(); }
    int bitRate() const { return m_line.bitRate(); }

    /// Number of cameras on the line; 0 where no camera has told it.
    int cameras() const { return m_cameras; }

    [[nodiscard]] std::optional<Error> open(const std::string& device, Duration timeout);

    /// @param what   the command in words, for the error text
    /// @param order  its number where it was acknowledged, 0 otherwise
    [[nodiscard]] std::optional<Error> command(const Bytes& packet, const std::string& what,
                                               Until until, Duration timeout, int* order);

    /// Whether a reply answers an inquiry whose data have that length: isPosition() or
    /// isInquiryAnswer().
    using IsAnswer = bool (*)(const Reply& reply, size_t dataBytes);

    /// Asks for something, a position unless told otherwise.
    /// @param dataBytes  length of the reply's data; another length is not the reply
    [[nodiscard]] std::optional<Error> inquire(const Bytes& packet, const std::string& what,
                                               size_t dataBytes, Bytes* data, Duration timeout,
                                               IsAnswer isAnswer = isPosition);

    /// Those that have come to light since the last call.
    std::vector<LateRefusal> takeLateRefusals() { return std::exchange(m_lateRefusals, {}); }

  private:
    /// Whether a reply answers the order that is waited for.
    enum class Claim { None, Perhaps, Certain };

    /// A command whose answer was not waited for any longer, and may still come.
    struct Owed
    {
        std::string what;  ///< of an order, in words
        bool isOrder;      ///< interface clear is none: it is never acknowledged
    };

    [[nodiscard]] std::optional<Error> awaitTaken(const std::string& what, Time deadline,
                                                  Reply* answer, int* order);
    [[nodiscard]] std::optional<Error> awaitCompletion(int order, const std::string& what,
                                                       Time deadline);
    [[nodiscard]] std::optional<Error> awaitAnswer(const std::string& what, size_t dataBytes,
                                                   Bytes* data, Time deadline, IsAnswer isAnswer);
    [[nodiscard]] std::optional<Error> awaitFreeSocket(Time deadline);
    /// Reads and books replies until none has come for as long as `quiet`.
    [[nodiscard]] std::optional<Error> awaitQuiet(Duration quiet, Time deadline);

    Claim claimOf(const Reply& reply) const;
    bool isOwedAnOrder() const;

    /// Books a reply that is not the one waited for on the command that it belongs to.
    void book(const Reply& reply);
    /// Books one that was held for the one waited for. @param order  its number, if acknowledged
    void giveBack(const Reply& reply, int order);
    void bookError(const Reply& reply);
    std::string takeOwedOrder();

    Error refusal(const std::string& what, uint8_t error) const;
    Error explain(Error error, const std::string& what) const;

    ReplyLine m_line;
    int m_cameras = 0;
    OrderBook m_orders;
    std::deque<Owed> m_owed;  ///< in the order in which they were sent
    std::vector<LateRefusal> m_lateRefusals;
};

}  // namespace quill::visca
