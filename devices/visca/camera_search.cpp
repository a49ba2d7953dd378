#include "camera_search.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace quill::visca
{
namespace
{

/// How long a camera may keep us waiting for the answer to interface clear, which it need not give.
constexpr Duration kInterfaceClearTimeout = milliseconds(200);

/// A camera answers within some 20 ms. One that missed the packets in noise is asked again, and one
/// whose address is set by switches knows inquiries only. Most of the second belongs to 9600 bit/s,
/// in such a way that a camera that is slow by any part of it is heard.
struct Attempt
{
    int bitRate;
    bool inquires;
    Duration lasts;
};
constexpr Attempt kAttempts[] = {
    {kBitRate, false, milliseconds(150)},
    {kBitRate, true, milliseconds(150)},
    {kFastBitRate, true, milliseconds(150)},
    {kBitRate, true, milliseconds(550)},
};

class Search
{
  public:
    explicit Search(ReplyLine& line) : m_line(line) {}

    /// @return Silence when nothing of use comes until `end`
    std::optional<Error> tryOnce(const Attempt& attempt, Time end)
    {
        m_hasInquired = m_isCleared = false;
        m_otherAnswers = 0;
        if (auto error = m_line.setBitRate(attempt.bitRate)) return error;
        if (auto error = sendOpening(end)) return error;
        if (attempt.inquires)
            if (auto error = inquire(end)) return error;
        while (m_foundBy == By::Nothing) {
            Reply reply;
            if (auto error = m_line.next(&reply, end)) return error;
            note(reply);
            const bool answersOtherwise = m_isCleared || m_otherAnswers > 0;
            if (answersOtherwise && m_foundBy == By::Nothing && !m_hasInquired)
                if (auto error = inquire(end)) return error;
        }
        return std::nullopt;
    }

    /// Once it is found: the answer to interface clear, which a camera may refuse or not give.
    std::optional<Error> awaitClear(Time end)
    {
        while (m_foundBy == By::Address && !m_isCleared && m_otherAnswers == 0) {
            Reply reply;
            const auto error = m_line.next(&reply, end);
            if (isTimeout(error)) break;
            if (error) return error;
            note(reply);
        }
        return std::nullopt;
    }

    FoundCamera result() const
    {
        // Of an inquiry that was answered, those before it are over too, if they are answered at
        // all: address set and interface clear.
        const int expected = m_foundBy == By::Address ? 1 : 2;
        const bool isInquiryOwed = m_hasInquired && m_foundBy == By::Address;
        return {!m_isCleared && m_otherAnswers < expected, m_cameras,
                m_isDisturbed || isInquiryOwed || m_line.isDisturbed()};
    }

  private:
    enum class By { Nothing, Address, Inquiry };

    std::optional<Error> sendOpening(Time end)
    {
        m_echoAwaited = m_lineEchoes;
        Bytes packets = addressSet();
        const Bytes clear = interfaceClear();
        packets.insert(packets.end(), clear.begin(), clear.end());
        return m_line.send(packets, end);
    }

    std::optional<Error> inquire(Time end)
    {
        m_hasInquired = true;
        return m_line.send(zoomInquiry(), end);
    }

    void note(const Reply& reply)
    {
        switch (reply.kind) {
            case ReplyKind::AddressSet: noteAddress(reply.nextAddress); break;
            case ReplyKind::InterfaceClear:
                if (!std::exchange(m_echoAwaited, false)) m_isCleared = true;
                break;
            case ReplyKind::Acknowledge:
            case ReplyKind::Error: ++m_otherAnswers; break;
            case ReplyKind::Completion:
                if (m_hasInquired && isPosition(reply, kZoomDataBytes))
                    m_foundBy = By::Inquiry;
                else
                    m_isDisturbed = true;
                break;
            case ReplyKind::NetworkChange: m_isDisturbed = true; break;
        }
    }

    void noteAddress(int nextAddress)
    {
        if (nextAddress > 1) {
            m_foundBy = By::Address;
            m_cameras = nextAddress - 1;
            m_otherAnswers = 0;  // what came before is of an earlier attempt
        } else {
            m_lineEchoes = m_echoAwaited = true;  // our own packet; a camera's has a higher address
        }
    }

    ReplyLine& m_line;
    By m_foundBy = By::Nothing;
    int m_cameras = 0;
    bool m_hasInquired = false;
    bool m_isCleared = false;
    int m_otherAnswers = 0;  // refusals and acknowledgements
    bool m_lineEchoes = false;
    bool m_echoAwaited = false;  // of interface clear
    bool m_isDisturbed = false;
};

}  // namespace

std::optional<Error> findCamera(ReplyLine& line, FoundCamera* found, Time deadline)
{
    Search search(line);
    std::optional<Error> error;
    size_t attempts = 0;
    do {
        const Attempt& attempt = kAttempts[attempts++ % std::size(kAttempts)];
        const Time end = std::min(deadline, line.line().deadlineIn(attempt.lasts));
        error = search.tryOnce(attempt, end);
    } while (isTimeout(error) && Time::now() < deadline);
    if (error) return error;

    error = search.awaitClear(std::min(deadline, line.line().deadlineIn(kInterfaceClearTimeout)));
    *found = search.result();
    found->isDisturbed = found->isDisturbed || attempts > 1;
    return error;
}

}  // namespace quill::visca
