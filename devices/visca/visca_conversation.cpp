#include "visca_conversation.h"

#include <algorithm>

#include "camera_search.h"

namespace quill::visca
{
namespace
{

/// Without a byte for this long nothing is under way on the line: a USB adapter may hold bytes back
/// for its latency timer, 16 ms unless set.
constexpr Duration kQuiet = milliseconds(20);

/// A reply that may belong to an earlier command is ours when no other one follows it this soon: a
/// camera answers in order, and it has begun to answer.
constexpr Duration kDoubtGrace = milliseconds(150);

/// A command that found the camera's command buffer full is repeated when a completion says that
/// there is room again, and after this long anyway.
constexpr Duration kBufferFullPause = milliseconds(100);

/// Time for taking replies that are waiting in the driver already.
constexpr Duration kWaitingRepliesTimeout = milliseconds(5);

/// Of an order that was taken before: no order of ours cancels another.
bool isAboutCancelling(const Reply& error)
{
    return error.error == kCancelled || error.error == kNoSocket;
}

}  // namespace

std::optional<Error> Conversation::open(const std::string& device, Duration timeout)
{
    const Time deadline = m_line.line().deadlineIn(timeout);
    if (auto error = m_line.open(device, kBitRate)) return error;
    FoundCamera found;
    if (auto error = findCamera(m_line, &found, deadline))
        return explain(*error, "find the camera");
    m_cameras = found.cameras;
    if (found.isClearOwed) m_owed.push_back({"", false});
    if (!found.isDisturbed) return std::nullopt;
    // Completions of an earlier run and network changes may still be on their way.
    return awaitQuiet(m_line.line().withDelay(kQuiet), deadline);
}

std::optional<Error> Conversation::command(const Bytes& packet, const std::string& what,
                                           Until until, Duration timeout, int* order)
{
    const Time deadline = m_line.line().deadlineIn(timeout);
    m_line.forget();
    if (auto error = awaitQuiet(Duration(), Time::now() + kWaitingRepliesTimeout))
        return explain(*error, what);
    for (bool wasFull = false;; wasFull = true) {
        if (auto error = m_line.send(packet, deadline)) return explain(*error, what);
        Reply answer;
        auto error = awaitTaken(what, deadline, &answer, order);
        if (isTimeout(error) && wasFull) return refusal(what, kBufferFull);
        if (error) return error;
        if (answer.kind == ReplyKind::Completion) return std::nullopt;
        if (answer.kind == ReplyKind::Acknowledge) {
            if (until == Until::Completed) return awaitCompletion(*order, what, deadline);
            return std::nullopt;
        }
        if (answer.error != kBufferFull || Time::now() + kBufferFullPause > deadline)
            return refusal(what, answer.error);
        error = awaitFreeSocket(Time::now() + kBufferFullPause);
        if (error) return explain(*error, what);
    }
}

std::optional<Error> Conversation::awaitTaken(const std::string& what, Time deadline, Reply* answer,
                                              int* order)
{
    *order = 0;
    bool isHeld = false;  // *answer, in doubt
    for (Time until = deadline;;) {
        Reply reply;
        const auto error = m_line.next(&reply, until);
        if (isTimeout(error) && isHeld) {
            m_owed.clear();  // this one is answered: those before it will not be any more
            return std::nullopt;
        }
        if (isTimeout(error)) m_owed.push_back({what, true});
        if (error) return explain(*error, what);
        if (claimOf(reply) == Claim::None || (isHeld && reply.kind == ReplyKind::Completion)) {
            book(reply);
            continue;
        }
        if (isHeld) giveBack(*answer, *order);
        isHeld = claimOf(reply) == Claim::Perhaps;
        *answer = reply;
        *order = reply.kind == ReplyKind::Acknowledge ? m_orders.add(reply.socket, what) : 0;
        if (!isHeld) return std::nullopt;
        until = std::min(deadline, m_line.line().deadlineIn(kDoubtGrace));
    }
}

Conversation::Claim Conversation::claimOf(const Reply& reply) const
{
    switch (reply.kind) {
        case ReplyKind::Acknowledge: return isOwedAnOrder() ? Claim::Perhaps : Claim::Certain;
        case ReplyKind::Error:
            if (isAboutCancelling(reply)) return Claim::None;
            return m_orders.isBusy(reply.socket) || !m_owed.empty() ? Claim::Perhaps
                                                                    : Claim::Certain;
        case ReplyKind::Completion:
            // One that nothing announced: of an earlier run, or our own without acknowledgement.
            return reply.data.empty() && !m_orders.isBusy(reply.socket) ? Claim::Perhaps
                                                                        : Claim::None;
        default: return Claim::None;
    }
}

std::optional<Error> Conversation::awaitCompletion(int order, const std::string& what,
                                                   Time deadline)
{
    while (m_orders.holds(order)) {
        Reply reply;
        if (auto error = m_line.next(&reply, deadline)) return explain(*error, what);
        // An error that names no socket: nothing else is under way that it could be about.
        const bool isOurs = reply.kind == ReplyKind::Error && reply.socket == 0 && m_owed.empty();
        if (isOurs) return refusal(what, reply.error);
        book(reply);
        if (m_lateRefusals.empty() || m_lateRefusals.back().order != order) continue;
        m_lateRefusals.pop_back();
        return refusal(what, reply.error);
    }
    return std::nullopt;
}

std::optional<Error> Conversation::inquire(const Bytes& packet, const std::string& what,
                                           size_t dataBytes, Bytes* data, Duration timeout,
                                           IsAnswer isAnswer)
{
    const Time deadline = m_line.line().deadlineIn(timeout);
    m_line.forget();
    // The answer to an inquiry that was given up may be waiting: it must not pass for this one's.
    if (auto error = awaitQuiet(Duration(), Time::now() + kWaitingRepliesTimeout))
        return explain(*error, what);
    if (auto error = m_line.send(packet, deadline)) return explain(*error, what);
    return awaitAnswer(what, dataBytes, data, deadline, isAnswer);
}

std::optional<Error> Conversation::awaitAnswer(const std::string& what, size_t dataBytes,
                                               Bytes* data, Time deadline, IsAnswer isAnswer)
{
    std::optional<Reply> held;  // an error in doubt
    for (Time until = deadline;;) {
        Reply reply;
        const auto error = m_line.next(&reply, until);
        if (isTimeout(error) && held) {
            m_owed.clear();
            return refusal(what, held->error);
        }
        if (error) return explain(*error, what);
        if (isAnswer(reply, dataBytes)) {
            if (held) giveBack(*held, 0);
            *data = reply.data;
            return std::nullopt;
        }
        if (reply.kind != ReplyKind::Error || isAboutCancelling(reply) ||
            m_orders.isBusy(reply.socket)) {
            book(reply);
            continue;
        }
        if (held) giveBack(*held, 0);
        if (reply.socket == 0 && m_owed.empty()) return refusal(what, reply.error);
        held = reply;
        // A socket is an order's, of an earlier run; some cameras name one to an inquiry all the
        // same, which only silence tells.
        const Time grace = m_line.line().deadlineIn(kDoubtGrace);
        until = reply.socket == 0 ? std::min(deadline, grace) : deadline;
    }
}

bool Conversation::isOwedAnOrder() const
{
    return std::any_of(m_owed.begin(), m_owed.end(), [](const Owed& owed) { return owed.isOrder; });
}

void Conversation::book(const Reply& reply)
{
    switch (reply.kind) {
        case ReplyKind::Acknowledge:
            if (isOwedAnOrder()) (void)m_orders.add(reply.socket, takeOwedOrder());
            break;
        case ReplyKind::Completion:
            if (m_orders.isBusy(reply.socket)) (void)m_orders.takeOldest(reply.socket);
            break;
        case ReplyKind::Error: bookError(reply); break;
        default: break;
    }
}

void Conversation::bookError(const Reply& reply)
{
    if (m_orders.isBusy(reply.socket)) {
        const Order order = m_orders.takeYoungest(reply.socket);
        Error error = refusal(order.what, reply.error);
        error.reason = "taken, then given up: " + error.reason;
        m_lateRefusals.push_back({order.number, error});
    } else if (!isAboutCancelling(reply) && !m_owed.empty()) {
        m_owed.pop_front();
    }
}

void Conversation::giveBack(const Reply& reply, int order)
{
    if (reply.kind == ReplyKind::Acknowledge)
        m_orders.rename(order, takeOwedOrder());
    else
        book(reply);
}

std::string Conversation::takeOwedOrder()
{
    // What was sent before it is not answered any more.
    while (m_owed.size() > 1 && !m_owed.front().isOrder) m_owed.pop_front();
    const std::string what = m_owed.front().what;
    m_owed.pop_front();
    return what;
}

std::optional<Error> Conversation::awaitFreeSocket(Time deadline)
{
    for (const size_t before = m_orders.size(); m_orders.size() >= before;) {
        Reply reply;
        const auto error = m_line.next(&reply, deadline);
        if (isTimeout(error)) return std::nullopt;
        if (error) return error;
        book(reply);
    }
    return std::nullopt;
}

std::optional<Error> Conversation::awaitQuiet(Duration quiet, Time deadline)
{
    for (;;) {
        Reply reply;
        const auto error = m_line.next(&reply, std::min(deadline, Time::now() + quiet));
        if (isTimeout(error)) return std::nullopt;
        if (error) return error;
        book(reply);
    }
}

Error Conversation::refusal(const std::string& what, uint8_t error) const
{
    return {device(), what, 0, "the camera refuses: " + errorText(error), "", ErrorKind::Refused};
}

Error Conversation::explain(Error error, const std::string& what) const
{
    error.step = what;
    if (isTimeout(error)) {
        error.reason = m_line.silenceText();
        error.remedy = "check the camera's power, cable and bit rate (9600 or 38400)";
    }
    return error;
}

}  // namespace quill::visca
