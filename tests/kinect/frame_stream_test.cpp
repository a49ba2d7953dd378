#include "tools/kinect_standin/frame_stream.h"

#include <gtest/gtest.h>

#include <functional>

namespace quill::kinect
{
namespace
{

MessageHeader frame()
{
    MessageHeader header = frameHeader(MessageKind::Colour, 1920, 1080, PixelFormat::BGRX);
    header.status = 1;
    header.sequence = 0x01020304;
    header.timestamp = 5;
    return header;
}

TEST(FrameStream, HeadersAreFortyBytesLowByteFirst)
{
    const HeaderBytes bytes = {'R', 'F', 'K', '1', 1, 0, 0, 0, 0x80, 7,    0,    0, 0x38, 4,
                               0,   0,   4,   0,   0, 0, 4, 0, 0,    0,    1,    0, 0,    0,
                               4,   3,   2,   1,   5, 0, 0, 0, 0,    0x90, 0x7E, 0};
    EXPECT_EQ(encodeHeader(frame()), bytes);
    EXPECT_EQ(parseHeader(bytes), frame());
    for (const MessageHeader& header :
         {request(MessageKind::AskStatus), request(MessageKind::StartColour),
          request(MessageKind::StartInfrared), statusReply(SensorStatus::Busy),
          frameHeader(MessageKind::Infrared, 1, 1, PixelFormat::Float)})
        EXPECT_EQ(parseHeader(encodeHeader(header).value()), header);
}

TEST(FrameStream, RefusesAFieldOutOfItsBoundsBothWays)
{
    const struct
    {
        const char* what;
        std::function<void(MessageHeader*)> spoil;
        size_t byte;  // of the packet, to be set to `value`
        uint8_t value;
    } cases[] = {
        {"unknown kind", [](auto* h) { h->kind = static_cast<MessageKind>(7); }, 4, 7},
        {"no width", [](auto* h) { h->width = h->payloadBytes = 0; }, 11, 1},
        {"wider than the sensor", [](auto* h) { h->width = 1921, h->payloadBytes += 4320; }, 8,
         0x81},
        {"higher than the sensor", [](auto* h) { h->height = 1081, h->payloadBytes += 7680; }, 15,
         0x40},
        {"size that wraps to little", [](auto* h) { h->height = h->width = 1U << 31; }, 15, 0x80},
        {"three bytes a pixel", [](auto* h) { h->bytesPerPixel = 3; }, 16, 3},
        {"floats in colour", [](auto* h) { h->format = PixelFormat::Float; }, 20, 2},
        {"unknown format", [](auto* h) { h->format = static_cast<PixelFormat>(6); }, 20, 6},
        {"unknown status", [](auto* h) { h->status = 2; }, 24, 2},
        {"a pixel more than there are", [](auto* h) { h->payloadBytes += 4; }, 36, 4},
        {"gigabytes", [](auto* h) { h->payloadBytes = 0xFFFFFFFF; }, 39, 0xFF},
        {"a request with a size", [](auto* h) { h->kind = MessageKind::AskStatus; }, 4, 4},
        {"a status with pixels", [](auto* h) { h->kind = MessageKind::Status; }, 4, 3},
    };
    for (const auto& c : cases) {
        MessageHeader header = frame();
        c.spoil(&header);
        EXPECT_EQ(encodeHeader(header), std::nullopt) << c.what;
        HeaderBytes bytes = encodeHeader(frame()).value();
        bytes[c.byte] = c.value;
        EXPECT_EQ(parseHeader(bytes), std::nullopt) << c.what;
    }
    HeaderBytes outOfStep = encodeHeader(frame()).value();
    outOfStep[0] = 'K';
    EXPECT_EQ(parseHeader(outOfStep), std::nullopt);
    EXPECT_EQ(encodeHeader(statusReply(static_cast<SensorStatus>(5))), std::nullopt);
}

}  // namespace
}  // namespace quill::kinect
