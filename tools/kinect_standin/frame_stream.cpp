#include "tools/kinect_standin/frame_stream.h"

namespace quill::kinect
{
namespace
{

constexpr uint32_t kMagic = 0x314B4652;  // "RFK1"
constexpr uint32_t kDamaged = 1;

bool isFrameSound(const MessageHeader& header)
{
    const bool isColour = header.kind == MessageKind::Colour;
    const bool hasColours =
        header.format == PixelFormat::BGRX || header.format == PixelFormat::RGBX;
    return header.width >= 1 && header.width <= kMaxWidth && header.height >= 1 &&
           header.height <= kMaxHeight && header.bytesPerPixel == kBytesPerPixel &&
           (isColour ? hasColours : header.format == PixelFormat::Float) &&
           header.status <= kDamaged &&
           header.payloadBytes == header.width * header.height * kBytesPerPixel;
}

bool isSound(const MessageHeader& header)
{
    switch (header.kind) {
        case MessageKind::Colour:
        case MessageKind::Infrared: return isFrameSound(header);
        case MessageKind::Status:
            return header.status <= static_cast<uint32_t>(SensorStatus::Busy) &&
                   header == statusReply(static_cast<SensorStatus>(header.status));
        case MessageKind::AskStatus:
        case MessageKind::StartColour:
        case MessageKind::StartInfrared: return header == request(header.kind);
    }
    return false;
}

using Words = std::array<uint32_t, kHeaderBytes / sizeof(uint32_t)>;

Words wordsOf(const MessageHeader& header)
{
    return {kMagic,
            static_cast<uint32_t>(header.kind),
            header.width,
            header.height,
            header.bytesPerPixel,
            static_cast<uint32_t>(header.format),
            header.status,
            header.sequence,
            header.timestamp,
            header.payloadBytes};
}

}  // namespace

bool MessageHeader::operator==(const MessageHeader& other) const
{
    return wordsOf(*this) == wordsOf(other);
}

MessageHeader request(MessageKind kind)
{
    MessageHeader header;
    header.kind = kind;
    return header;
}

MessageHeader statusReply(SensorStatus status)
{
    MessageHeader header;
    header.status = static_cast<uint32_t>(status);
    return header;
}

MessageHeader frameHeader(MessageKind kind, uint32_t width, uint32_t height, PixelFormat format)
{
    MessageHeader header;
    header.kind = kind;
    header.width = width;
    header.height = height;
    header.bytesPerPixel = kBytesPerPixel;
    header.format = format;
    header.payloadBytes = width * height * kBytesPerPixel;
    return header;
}

std::optional<HeaderBytes> encodeHeader(const MessageHeader& header)
{
    if (!isSound(header)) return std::nullopt;
    HeaderBytes bytes;
    size_t at = 0;
    for (const uint32_t word : wordsOf(header))
        for (int shift = 0; shift < 32; shift += 8)
            bytes[at++] = static_cast<uint8_t>(word >> shift);
    return bytes;
}

std::optional<MessageHeader> parseHeader(const HeaderBytes& bytes)
{
    Words words{};
    for (size_t i = 0; i < kHeaderBytes; ++i) words[i / 4] |= uint32_t{bytes[i]} << (i % 4 * 8);
    if (words[0] != kMagic) return std::nullopt;
    const MessageHeader header = {static_cast<MessageKind>(words[1]),
                                  words[2],
                                  words[3],
                                  words[4],
                                  static_cast<PixelFormat>(words[5]),
                                  words[6],
                                  words[7],
                                  words[8],
                                  words[9]};
    return isSound(header) ? std::make_optional(header) : std::nullopt;
}

}  // namespace quill::kinect
