#include "visca_conversation.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace quill::visca
{
namespace
{

/// A camera answers address set within some 20 ms; one that missed it in noise is asked again.
constexpr Duration kAddressSetInterval = milliseconds(300);

/// How long a camera may keep us waiting for the answer to interface clear, which it need not give.
constexpr Duration kInterfaceClearTimeout = milliseconds(200);

/// Without a byte for this long nothing is under way on the line: a USB adapter may hold bytes back
/// for its latency timer, 16 ms unless set.
constexpr Duration kQuiet = milliseconds(20);

/// An acknowledgement or a refusal that belongs to the command follows a stray completion this
/// soon.
constexpr Duration kStrayCompletionGrace = milliseconds(150);

/// A command that found the camera's command buffer full is repeated when a completion says that
/// there is room again, and after this long anyway.
constexpr Duration kBufferFullPause = milliseconds(100);

/// Time for taking replies that are waiting in the driver already.
constexpr Duration kWaitingRepliesTimeout = milliseconds(5);

bool isTimeout(const std::optional<Error>& error)
{
    return error && error->number == ETIMEDOUT;
}

Time earlier(Time a, Time b)
{
    return std::min(a, b);
}

}  // namespace

std::optional<Error> Conversation::open(const std::string& device, Duration timeout)
{
    const Time deadline = m_line.deadlineIn(timeout);
    m_reader.reset();
    m_replies.clear();
    m_underWay = {};
    m_lineEchoes = false;
    if (auto error = m_line.open(device, kBitRate)) return error;
    if (auto error = findCamera(deadline)) return explain(*error, "find the camera");
    return clearInterface(deadline);
}

std::optional<Error> Conversation::findCamera(Time deadline)
{
    for (;;) {
        if (auto error = send(addressSet(), deadline)) return error;
        const Time again = earlier(deadline, m_line.deadlineIn(kAddressSetInterval));
        for (;;) {
            Reply reply;
            const auto error = nextReply(&reply, again);
            if (isTimeout(error) && again < deadline) break;
            if (error) return error;
            if (reply.kind == ReplyKind::Error) break;  // it took our packet together with noise
            if (reply.kind != ReplyKind::AddressSet) continue;
            if (reply.nextAddress > 1) return std::nullopt;
            m_lineEchoes = true;  // our own packet; the camera's answer has a higher address
        }
    }
}

std::optional<Error> Conversation::clearInterface(Time deadline)
{
    if (auto error = send(interfaceClear(), deadline)) return error;
    const Time giveUp = earlier(deadline, m_line.deadlineIn(kInterfaceClearTimeout));
    bool echoAwaited = m_lineEchoes;
    for (;;) {
        Reply reply;
        const auto error = nextReply(&reply, giveUp);
        if (isTimeout(error)) return std::nullopt;
        if (error) return error;
        if (reply.kind == ReplyKind::Error) break;
        if (reply.kind == ReplyKind::InterfaceClear && !std::exchange(echoAwaited, false)) break;
    }
    // Completions of an earlier run and network changes may still be on their way.
    return awaitQuiet(m_line.withDelay(kQuiet), deadline);
}

std::optional<Error> Conversation::command(const Bytes& packet, const std::string& what,
                                           Until until, Duration timeout)
{
    const Time deadline = m_line.deadlineIn(timeout);
    for (bool wasFull = false;; wasFull = true) {
        if (auto error = send(packet, deadline)) return explain(*error, what);
        Reply answer;
        auto error = awaitTaken(what, deadline, &answer);
        if (isTimeout(error) && wasFull) return refusal(what, kBufferFull);
        if (error) return error;
        if (answer.kind == ReplyKind::Completion) return std::nullopt;
        if (answer.kind == ReplyKind::Acknowledge) {
            if (until == Until::Completed) return awaitCompletion(answer.socket, what, deadline);
            return std::nullopt;
        }
        if (answer.error != kBufferFull || Time::now() + kBufferFullPause > deadline)
            return refusal(what, answer.error);
        error = awaitFreeSocket(Time::now() + kBufferFullPause);
        if (error) return explain(*error, what);
    }
}

std::optional<Error> Conversation::awaitTaken(const std::string& what, Time deadline, Reply* answer)
{
    std::optional<Reply> stray;
    for (Time until = deadline;;) {
        const auto error = nextReply(answer, until);
        if (isTimeout(error) && stray) {
            *answer = *stray;  // neither acknowledged nor refused: it was the command's own
            return std::nullopt;
        }
        if (error) return explain(*error, what);
        if (answer->kind == ReplyKind::Acknowledge) {
            ++m_underWay[static_cast<size_t>(answer->socket)];
            return std::nullopt;
        }
        if (answer->kind == ReplyKind::Error) return std::nullopt;
        const bool endsCommand = answer->kind == ReplyKind::Completion && answer->data.empty();
        if (endsCommand && !endsEarlierCommand(*answer) && !stray) {
            stray = *answer;
            until = earlier(deadline, m_line.deadlineIn(kStrayCompletionGrace));
        }
    }
}

std::optional<Error> Conversation::awaitCompletion(int socket, const std::string& what,
                                                   Time deadline)
{
    const int& underWay = m_underWay[static_cast<size_t>(socket)];
    while (underWay > 0) {
        Reply reply;
        if (auto error = nextReply(&reply, deadline)) return explain(*error, what);
        if (reply.kind == ReplyKind::Completion) (void)endsEarlierCommand(reply);
        if (reply.kind == ReplyKind::Error) return refusal(what, reply.error);
    }
    return std::nullopt;
}

std::optional<Error> Conversation::inquire(const Bytes& packet, const std::string& what,
                                           size_t dataBytes, Bytes* data, Duration timeout)
{
    const Time deadline = m_line.deadlineIn(timeout);
    // The answer to an inquiry that was given up may be waiting: it must not pass for this one's.
    if (auto error = awaitQuiet(Duration(), Time::now() + kWaitingRepliesTimeout))
        return explain(*error, what);
    if (auto error = send(packet, deadline)) return explain(*error, what);
    for (;;) {
        Reply reply;
        if (auto error = nextReply(&reply, deadline)) return explain(*error, what);
        if (reply.kind == ReplyKind::Error) return refusal(what, reply.error);
        if (reply.kind != ReplyKind::Completion || endsEarlierCommand(reply)) continue;
        if (reply.socket != 0 || reply.data.size() != dataBytes) continue;
        *data = reply.data;
        return std::nullopt;
    }
}

bool Conversation::endsEarlierCommand(const Reply& completion)
{
    int& underWay = m_underWay[static_cast<size_t>(completion.socket)];
    if (completion.socket == 0 || underWay == 0) return false;
    --underWay;
    return true;
}

std::optional<Error> Conversation::send(const Bytes& packet, Time deadline)
{
    return m_line.write(packet.data(), packet.size(), deadline);
}

std::optional<Error> Conversation::nextReply(Reply* reply, Time deadline)
{
    while (m_replies.empty()) {
        // What is waiting at the deadline still counts, but a line that never falls silent must not
        // hold us past it: one look, no more.
        if (Time::now() >= deadline && std::exchange(m_lastLook, deadline) == deadline)
            return Error{m_line.path(), "read", ETIMEDOUT, "", ""};
        uint8_t buffer[256];
        size_t got = 0;
        if (auto error = m_line.readSome(buffer, sizeof buffer, &got, deadline)) return error;
        for (size_t i = 0; i < got; ++i) {
            const auto packet = m_reader.push(buffer[i]);
            const auto parsed = packet ? parseReply(*packet) : std::nullopt;
            if (parsed) m_replies.push_back(*parsed);
        }
    }
    *reply = m_replies.front();
    m_replies.pop_front();
    return std::nullopt;
}

std::optional<Error> Conversation::awaitFreeSocket(Time deadline)
{
    for (;;) {
        Reply reply;
        const auto error = nextReply(&reply, deadline);
        if (isTimeout(error)) return std::nullopt;
        if (error) return error;
        if (reply.kind == ReplyKind::Completion && endsEarlierCommand(reply)) return std::nullopt;
    }
}

std::optional<Error> Conversation::awaitQuiet(Duration quiet, Time deadline)
{
    for (;;) {
        Reply reply;
        const auto error = nextReply(&reply, earlier(deadline, Time::now() + quiet));
        if (isTimeout(error)) return std::nullopt;
        if (error) return error;
        if (reply.kind == ReplyKind::Completion) (void)endsEarlierCommand(reply);
    }
}

Error Conversation::refusal(const std::string& what, uint8_t error) const
{
    return {m_line.path(), what, 0, "the camera refuses: " + errorText(error), ""};
}

Error Conversation::explain(Error error, const std::string& what) const
{
    error.step = what;
    if (error.number == ETIMEDOUT) {
        error.reason = "no answer";
        error.remedy = "check the camera's power, cable and bit rate (9600)";
    }
    return error;
}

}  // namespace quill::visca
