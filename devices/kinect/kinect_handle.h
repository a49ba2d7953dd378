#pragma once

#include <memory>

namespace libfreenect2
{
class Frame;
}

namespace quill
{

class LatestFrames;

/// Access to the most recent frames of a sensor. They stay when the sensor has been stopped or
/// destroyed. All functions may be called on any thread while frames arrive; they never wait for
/// pixels to be copied.
class KinectHandle
{
  public:
    explicit KinectHandle(std::shared_ptr<LatestFrames> frames);
    ~KinectHandle();
    KinectHandle(const KinectHandle&) = delete;
    KinectHandle& operator=(const KinectHandle&) = delete;

    /// The latest colour frame: 1920 x 1080 pixels of 4 bytes (blue, green, red, unused: format
    /// BGRX). It is never written again and lives as long as somebody holds it.
    /// @return empty while none has arrived since the sensor was switched on
    std::shared_ptr<libfreenect2::Frame> lastRGB() const;

    /// The latest infrared frame: 512 x 424 floats, intensities from 0 to 65535. As lastRGB().
    std::shared_ptr<libfreenect2::Frame> lastIR() const;

  private:
    std::shared_ptr<LatestFrames> m_frames;
};

}  // namespace quill
