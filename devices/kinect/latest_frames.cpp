#include "latest_frames.h"

#include <cstring>
#include <utility>

namespace quill
{
namespace
{

using libfreenect2::Frame;

constexpr size_t kColourWidth = 1920;
constexpr size_t kColourHeight = 1080;
constexpr size_t kInfraredWidth = 512;
constexpr size_t kInfraredHeight = 424;
constexpr size_t kBytesPerPixel = 4;

bool hasSize(const Frame& frame, size_t width, size_t height)
{
    return frame.width == width && frame.height == height &&
           frame.bytes_per_pixel == kBytesPerPixel;
}

bool isUsable(Frame::Type type, const Frame& frame)
{
    if (frame.status != 0 || frame.data == nullptr) return false;
    if (type == Frame::Ir)
        return frame.format == Frame::Float && hasSize(frame, kInfraredWidth, kInfraredHeight);
    return (frame.format == Frame::BGRX || frame.format == Frame::RGBX) &&
           hasSize(frame, kColourWidth, kColourHeight);
}

void copySwappingRedAndBlue(unsigned char* to, const unsigned char* from, size_t pixels)
{
    for (; pixels > 0; --pixels, to += kBytesPerPixel, from += kBytesPerPixel) {
        to[0] = from[2];
        to[1] = from[1];
        to[2] = from[0];
        to[3] = from[3];
    }
}

std::shared_ptr<Frame> copyOf(const Frame& frame)
{
    auto copy = std::make_shared<Frame>(frame.width, frame.height, frame.bytes_per_pixel);
    copy->timestamp = frame.timestamp;
    copy->sequence = frame.sequence;
    copy->exposure = frame.exposure;
    copy->gain = frame.gain;
    copy->gamma = frame.gamma;
    copy->status = frame.status;
    const size_t pixels = frame.width * frame.height;
    const bool isRGBX = frame.format == Frame::RGBX;
    copy->format = isRGBX ? Frame::BGRX : frame.format;
    if (isRGBX)
        copySwappingRedAndBlue(copy->data, frame.data, pixels);
    else
        std::memcpy(copy->data, frame.data, pixels * kBytesPerPixel);
    return copy;
}

}  // namespace

bool LatestFrames::onNewFrame(Frame::Type type, Frame* frame)
{
    if (type == Frame::Depth) return false;
    auto copy = frame != nullptr && isUsable(type, *frame) ? copyOf(*frame) : nullptr;
    const std::lock_guard lock(m_mutex);
    if (copy == nullptr) {
        ++m_dropped;
        return false;
    }
    Stream& stream = type == Frame::Color ? m_colour : m_infrared;
    stream.latest.swap(copy);  // the one before is freed after the lock
    ++stream.count;
    return false;
}

LatestFrames::FramePtr LatestFrames::colour() const
{
    const std::lock_guard lock(m_mutex);
    return m_colour.latest;
}

LatestFrames::FramePtr LatestFrames::infrared() const
{
    const std::lock_guard lock(m_mutex);
    return m_infrared.latest;
}

void LatestFrames::clear()
{
    const std::lock_guard lock(m_mutex);
    m_colour = m_infrared = {};
    m_dropped = 0;
}

LatestFrames::Counts LatestFrames::counts() const
{
    const std::lock_guard lock(m_mutex);
    return {m_colour.count, m_infrared.count, m_dropped};
}

std::string LatestFrames::summary() const
{
    const Counts now = counts();
    return std::to_string(now.colour) + " colour and " + std::to_string(now.infrared) +
           " infrared frames, " + std::to_string(now.dropped) + " dropped";
}

}  // namespace quill
