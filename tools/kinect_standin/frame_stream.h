#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

/// What a simulated Kinect and the library that stands in for the driver's say to each other on a
/// stream socket: headers of a fixed size, one of a frame followed by its pixels. Pure: no device,
/// clock or log.
///
/// A program asks for the sensor's status, or for one of the two streams; both are answered with a
/// status. Behind the status Ready, the frames of the stream follow until either end closes.
namespace quill::kinect
{

enum class MessageKind : uint32_t {
    Colour = 1,         ///< a frame of the colour camera, its pixels behind the header
    Infrared = 2,       ///< a frame of the infrared camera, its pixels behind the header
    Status = 3,         ///< the sensor's answer to one of the following
    AskStatus = 4,      ///< is there a sensor?
    StartColour = 5,    ///< begin to send colour frames
    StartInfrared = 6,  ///< begin to send infrared frames
};

/// The values are those of libfreenect2::Frame::Format.
enum class PixelFormat : uint32_t { None = 0, Float = 2, BGRX = 4, RGBX = 5 };

enum class SensorStatus : uint32_t {
    Ready = 0,
    Absent = 1,        ///< nothing is plugged in
    NoPermission = 2,  ///< the device node may not be opened
    NoStream = 3,      ///< the sensor cannot start, for example at USB 2
    Busy = 4,          ///< another program holds it
};

constexpr uint32_t kMaxWidth = 1920;
constexpr uint32_t kMaxHeight = 1080;
constexpr uint32_t kBytesPerPixel = 4;

struct MessageHeader
{
    MessageKind kind = MessageKind::Status;
    uint32_t width =
        0;  ///< of a frame: 1..kMaxWidth pixels; otherwise 0, as all up to payloadBytes
    uint32_t height = 0;                     ///< 1..kMaxHeight pixels
    uint32_t bytesPerPixel = 0;              ///< kBytesPerPixel
    PixelFormat format = PixelFormat::None;  ///< BGRX or RGBX of a colour frame, Float of infrared
    uint32_t status = 0;        ///< of a frame: 0 whole, 1 damaged; of a Status: SensorStatus
    uint32_t sequence = 0;      ///< number of the frame since the streams began
    uint32_t timestamp = 0;     ///< of a frame: 0.1 ms since the streams began
    uint32_t payloadBytes = 0;  ///< width * height * bytesPerPixel of a frame

    bool operator==(const MessageHeader& other) const;
};

MessageHeader request(MessageKind kind);
MessageHeader statusReply(SensorStatus status);
/// @param kind  Colour or Infrared
MessageHeader frameHeader(MessageKind kind, uint32_t width, uint32_t height, PixelFormat format);

/// Magic number and the nine fields, 32 bits each, low byte first.
constexpr size_t kHeaderBytes = 40;
using HeaderBytes = std::array<uint8_t, kHeaderBytes>;

/// @return nothing when a field is out of its bounds
std::optional<HeaderBytes> encodeHeader(const MessageHeader& header);

/// @return nothing when the magic number is wrong or a field is out of its bounds: such a stream
/// is out of step or not ours, and is to be closed
std::optional<MessageHeader> parseHeader(const HeaderBytes& bytes);

}  // namespace quill::kinect
