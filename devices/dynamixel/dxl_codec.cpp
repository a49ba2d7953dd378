#include "devices/dynamixel/dxl_codec.h"

#include <algorithm>
#include <numeric>

namespace quill::dynamixel
{
namespace
{

constexpr uint8_t kStart = 0xFF;

/// Smallest value of the length byte: instruction or error, and checksum.
constexpr size_t kMinLength = 2;

bool fits(int value, int highest)
{
    return value >= 0 && value <= highest;
}

uint8_t checksum(const Bytes& bytes, size_t begin, size_t end)
{
    unsigned sum = 0;
    for (size_t i = begin; i < end; ++i) sum += bytes[i];
    return static_cast<uint8_t>(~sum & 0xFFu);
}

Bytes encodePacket(uint8_t id, uint8_t code, const Bytes& parameters)
{
    if (parameters.size() > kMaxParameters) return {};
    Bytes packet = {kStart, kStart, id, static_cast<uint8_t>(kMinLength + parameters.size()), code};
    packet.insert(packet.end(), parameters.begin(), parameters.end());
    packet.push_back(checksum(packet, 2, packet.size()));
    return packet;
}

ParseResult parsePacket(const Bytes& in, int lastId, uint8_t* id, uint8_t* code, Bytes* parameters)
{
    for (size_t i = 0; i < 2 && i < in.size(); ++i)
        if (in[i] != kStart) return ParseResult::Broken;
    if (in.size() > 2 && in[2] > lastId) return ParseResult::Broken;
    if (in.size() < kHeaderBytes) return ParseResult::Incomplete;
    if (in[3] < kMinLength) return ParseResult::Broken;
    const size_t end = kHeaderBytes + in[3];
    if (in.size() < end) return ParseResult::Incomplete;
    if (in[end - 1] != checksum(in, 2, end - 1)) return ParseResult::Broken;
    *id = in[2];
    *code = in[4];
    parameters->assign(in.begin() + 5, in.begin() + static_cast<ptrdiff_t>(end - 1));
    return ParseResult::Complete;
}

}  // namespace

bool isEcho(const StatusPacket& status, const InstructionPacket& request)
{
    return status.id == request.id && status.error == request.instruction &&
           status.parameters == request.parameters;
}

Bytes encode(const InstructionPacket& packet)
{
    return encodePacket(packet.id, packet.instruction, packet.parameters);
}

Bytes encode(const StatusPacket& packet)
{
    return encodePacket(packet.id, packet.error, packet.parameters);
}

std::optional<InstructionPacket> readRequest(int id, int address, Width width)
{
    if (!fits(id, kLastServoId) || !fits(address, kLastAddress + 1 - width)) return std::nullopt;
    return InstructionPacket{static_cast<uint8_t>(id),
                             kRead,
                             {static_cast<uint8_t>(address), static_cast<uint8_t>(width)}};
}

std::optional<InstructionPacket> writeRequest(int id, int address, int value, Width width)
{
    if (!fits(id, kBroadcastId) || !fits(address, kLastAddress + 1 - width)) return std::nullopt;
    if (!fits(value, width == kByte ? 0xFF : 0xFFFF)) return std::nullopt;
    Bytes parameters = encodeValue(value, width);
    parameters.insert(parameters.begin(), static_cast<uint8_t>(address));
    return InstructionPacket{static_cast<uint8_t>(id), kWrite, parameters};
}

int decodeValue(const Bytes& bytes)
{
    return std::accumulate(bytes.rbegin(), bytes.rend(), 0,
                           [](int value, uint8_t byte) { return value << 8 | byte; });
}

Bytes encodeValue(int value, Width width)
{
    Bytes bytes = {static_cast<uint8_t>(value & 0xFF)};
    if (width == kWord) bytes.push_back(static_cast<uint8_t>(value >> 8 & 0xFF));
    return bytes;
}

ParseResult parse(const Bytes& in, InstructionPacket* packet)
{
    return parsePacket(in, kBroadcastId, &packet->id, &packet->instruction, &packet->parameters);
}

ParseResult parse(const Bytes& in, StatusPacket* packet)
{
    return parsePacket(in, kLastServoId, &packet->id, &packet->error, &packet->parameters);
}

void StatusReader::push(const uint8_t* bytes, size_t size)
{
    m_bytes.insert(m_bytes.end(), bytes, bytes + size);
}

std::optional<StatusPacket> StatusReader::next()
{
    while (!m_bytes.empty()) {
        StatusPacket packet;
        const ParseResult result = claimsTooMuch() ? ParseResult::Broken : parse(m_bytes, &packet);
        if (result == ParseResult::Incomplete) return std::nullopt;
        const bool complete = result == ParseResult::Complete;
        const size_t taken = complete ? packetBytes(packet.parameters.size()) : 1;
        m_bytes.erase(m_bytes.begin(), m_bytes.begin() + static_cast<ptrdiff_t>(taken));
        if (complete) return packet;
        ++m_dropped;
    }
    return std::nullopt;
}

bool StatusReader::claimsTooMuch() const
{
    return m_bytes.size() >= kHeaderBytes && m_bytes[3] > kMinLength + m_maxParameters;
}

void StatusReader::reset()
{
    m_bytes.clear();
    m_dropped = 0;
}

std::string errorText(uint8_t bits)
{
    static const char* const words[8] = {"input voltage out of its limits",
                                         "angle limit: the goal is outside the angle limits",
                                         "overheating",
                                         "range: a value the servo does not allow",
                                         "checksum: it got a damaged packet",
                                         "overload",
                                         "instruction: it does not know this request",
                                         "unknown error bit 7"};
    std::string text;
    for (unsigned bit = 0; bit < 8; ++bit)
        if ((bits >> bit & 1u) != 0) text += (text.empty() ? "" : ", ") + std::string(words[bit]);
    return text;
}

std::optional<int> bitRateOf(int baudNumber)
{
    if (baudNumber < 0) return std::nullopt;
    const int64_t divisor = int64_t{baudNumber} + 1;
    const auto rate = static_cast<int>((2000000 + divisor / 2) / divisor);
    return rate > 0 ? std::make_optional(rate) : std::nullopt;
}

}  // namespace quill::dynamixel
