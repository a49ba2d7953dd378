#include "devices/visca/visca_codec.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace quill::visca
{
namespace
{

bool fits(int value, int lowest, int highest)
{
    return value >= lowest && value <= highest;
}

void append(Bytes* packet, const Bytes& bytes)
{
    packet->insert(packet->end(), bytes.begin(), bytes.end());
}

uint8_t withSocket(uint8_t kind, int socket)
{
    return static_cast<uint8_t>(kind | (socket & 0x0F));
}

std::optional<Reply> parseBroadcast(const Bytes& packet)
{
    Reply reply;
    if (packet.size() == 4 && packet[1] == 0x30) {
        reply.kind = ReplyKind::AddressSet;
        reply.nextAddress = packet[2];
        return reply;
    }
    if (packet == interfaceClear()) {
        reply.kind = ReplyKind::InterfaceClear;
        return reply;
    }
    return std::nullopt;
}

std::optional<Reply> parseFromCamera(const Bytes& packet)
{
    Reply reply;
    reply.socket = packet[1] & 0x0F;
    switch (packet[1] & 0xF0) {
        case 0x40:
            if (packet.size() != 3) return std::nullopt;
            reply.kind = ReplyKind::Acknowledge;
            return reply;
        case 0x50:
            reply.kind = ReplyKind::Completion;
            reply.data.assign(packet.begin() + 2, packet.end() - 1);
            return reply;
        case 0x60:
            if (packet.size() != 4) return std::nullopt;
            reply.kind = ReplyKind::Error;
            reply.error = packet[2];
            return reply;
        default:
            if (packet.size() != 3 || packet[1] != 0x38) return std::nullopt;
            reply.kind = ReplyKind::NetworkChange;
            reply.socket = 0;
            return reply;
    }
}

}  // namespace

std::optional<Bytes> PacketReader::push(uint8_t byte)
{
    if (m_bytes.size() == kMaxPacketBytes) m_bytes.erase(m_bytes.begin());
    m_bytes.push_back(byte);
    if (byte != kTerminator) return std::nullopt;
    Bytes packet = std::exchange(m_bytes, {});
    if (packet.size() < kMinPacketBytes) return std::nullopt;
    return packet;
}

Bytes addressSet()
{
    return {kBroadcast, 0x30, 0x01, kTerminator};
}

Bytes interfaceClear()
{
    return {kBroadcast, 0x01, 0x00, 0x01, kTerminator};
}

Bytes panTiltReset()
{
    return {kToCamera, 0x01, 0x06, 0x05, kTerminator};
}

Bytes panTiltInquiry()
{
    return {kToCamera, 0x09, 0x06, 0x12, kTerminator};
}

Bytes zoomInquiry()
{
    return {kToCamera, 0x09, 0x04, 0x47, kTerminator};
}

Bytes powerInquiry()
{
    return {kToCamera, 0x09, 0x04, 0x00, kTerminator};
}

Bytes versionInquiry()
{
    return {kToCamera, 0x09, 0x00, 0x02, kTerminator};
}

Bytes power(bool on)
{
    return {kToCamera, 0x01, 0x04, 0x00, on ? kPowerOn : kStandby, kTerminator};
}

std::optional<Bytes> panTiltAbsolute(int panSpeed, int tiltSpeed, int pan, int tilt)
{
    using Field = std::numeric_limits<int16_t>;
    if (!fits(panSpeed, 1, kMaxPanSpeed) || !fits(tiltSpeed, 1, kMaxTiltSpeed)) return std::nullopt;
    if (!fits(pan, Field::min(), Field::max()) || !fits(tilt, Field::min(), Field::max()))
        return std::nullopt;

    Bytes packet = {kToCamera, 0x01, 0x06, 0x02};
    packet.push_back(static_cast<uint8_t>(panSpeed));
    packet.push_back(static_cast<uint8_t>(tiltSpeed));
    append(&packet, encodeNibbles(static_cast<uint16_t>(pan)));
    append(&packet, encodeNibbles(static_cast<uint16_t>(tilt)));
    packet.push_back(kTerminator);
    return packet;
}

std::optional<Bytes> zoomDirect(int zoom)
{
    if (!fits(zoom, 0, std::numeric_limits<uint16_t>::max())) return std::nullopt;
    Bytes packet = {kToCamera, 0x01, 0x04, 0x47};
    append(&packet, encodeNibbles(static_cast<uint16_t>(zoom)));
    packet.push_back(kTerminator);
    return packet;
}

std::string errorText(uint8_t error)
{
    switch (error) {
        case kMessageLength:
            return "message length error: the camera does not know this form of the command";
        case kSyntaxError:
            return "syntax error: the camera does not know the command, or a value is out of its "
                   "range";
        case kBufferFull:
            return "command buffer full: the camera is still busy with earlier commands";
        case kCancelled: return "command cancelled";
        case kNoSocket: return "no such socket: nothing to cancel";
        case kNotExecutable:
            return "not executable: target out of range, or the camera is in standby";
        default: return "unknown error code " + std::to_string(error);
    }
}

std::optional<Reply> parseReply(const Bytes& packet)
{
    for (size_t left = kMinPacketBytes; left <= packet.size(); ++left) {
        const size_t start = packet.size() - left;
        const bool fromCamera = packet[start] >= kFromCamera && (packet[start] & 0x0F) == 0;
        if (!fromCamera && packet[start] != kBroadcast) continue;
        const Bytes candidate(packet.begin() + static_cast<ptrdiff_t>(start), packet.end());
        auto reply = fromCamera ? parseFromCamera(candidate) : parseBroadcast(candidate);
        if (reply) return reply;
    }
    return std::nullopt;
}

Bytes encodeNibbles(uint16_t value)
{
    Bytes nibbles;
    for (int shift = 12; shift >= 0; shift -= 4)
        nibbles.push_back(static_cast<uint8_t>((value >> shift) & 0x0F));
    return nibbles;
}

uint16_t decodeNibbles(const Bytes& data, size_t offset)
{
    unsigned value = 0;
    for (size_t i = offset; i < offset + 4; ++i) value = value << 4 | (data[i] & 0x0Fu);
    return static_cast<uint16_t>(value);
}

Version decodeVersion(const Bytes& data)
{
    const auto word = [&](size_t at) {
        return static_cast<uint16_t>(data[at] << 8 | data[at + 1]);
    };
    return {word(0), word(2), word(4), data[6]};
}

bool isInquiryAnswer(const Reply& reply, size_t dataBytes)
{
    return reply.kind == ReplyKind::Completion && reply.socket == 0 &&
           reply.data.size() == dataBytes;
}

bool isPosition(const Reply& reply, size_t dataBytes)
{
    const auto isNibble = [](uint8_t byte) { return byte <= 0x0F; };
    return isInquiryAnswer(reply, dataBytes) &&
           std::all_of(reply.data.begin(), reply.data.end(), isNibble);
}

Bytes acknowledge(int socket)
{
    return {kFromCamera, withSocket(0x40, socket), kTerminator};
}

Bytes completion(int socket, const Bytes& data)
{
    Bytes packet = {kFromCamera, withSocket(0x50, socket)};
    append(&packet, data);
    packet.push_back(kTerminator);
    return packet;
}

Bytes errorReply(int socket, uint8_t error)
{
    return {kFromCamera, withSocket(0x60, socket), error, kTerminator};
}

Bytes networkChange()
{
    return {kFromCamera, 0x38, kTerminator};
}

Bytes addressSetReply(int nextAddress)
{
    return {kBroadcast, 0x30, static_cast<uint8_t>(nextAddress), kTerminator};
}

}  // namespace quill::visca
