#include "reply_line.h"

#include <cerrno>
#include <utility>

namespace quill::visca
{

bool isTimeout(const std::optional<Error>& error)
{
    return error && (error->kind == ErrorKind::Silence || error->kind == ErrorKind::NotTaken);
}

std::optional<Error> ReplyLine::open(const std::string& device, int bitRate)
{
    m_bitRate = bitRate;
    return m_line.open(device, bitRate);
}

std::optional<Error> ReplyLine::setBitRate(int bitRate)
{
    if (bitRate == m_bitRate) return std::nullopt;
    m_bitRate = bitRate;
    m_reader.reset();
    return m_line.setBitRate(bitRate);
}

std::optional<Error> ReplyLine::send(const Bytes& packets, Time deadline)
{
    return m_line.write(packets.data(), packets.size(), deadline);
}

std::optional<Error> ReplyLine::next(Reply* reply, Time deadline)
{
    while (m_replies.empty()) {
        // What is waiting at the deadline still counts, but a line that never falls silent must not
        // hold us past it: one look, no more.
        if (Time::now() >= deadline && std::exchange(m_lastLook, deadline) == deadline)
            return Error{m_line.path(), "read", ETIMEDOUT, "", "", ErrorKind::Silence};
        uint8_t buffer[256];
        size_t got = 0;
        if (auto error = m_line.readSome(buffer, sizeof buffer, &got, deadline)) return error;
        for (size_t i = 0; i < got; ++i) take(buffer[i]);
    }
    *reply = m_replies.front();
    m_replies.pop_front();
    return std::nullopt;
}

void ReplyLine::take(uint8_t byte)
{
    if (m_came.size() == kMaxPacketBytes) m_came.erase(m_came.begin());
    m_came.push_back(byte);
    const auto packet = m_reader.push(byte);
    if (!packet) return;
    if (const auto reply = parseReply(*packet))
        m_replies.push_back(*reply);
    else
        m_hasRubbish = true;
}

std::string ReplyLine::silenceText() const
{
    if (m_came.empty()) return "no answer";
    std::string text = "no answer of use, what came ends with";
    for (const uint8_t byte : m_came) {
        static const char digits[] = "0123456789ABCDEF";
        text += {' ', digits[byte >> 4], digits[byte & 0x0F]};
    }
    return text;
}

}  // namespace quill::visca
