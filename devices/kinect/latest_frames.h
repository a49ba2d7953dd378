#pragma once

#include <libfreenect2/frame_listener.hpp>

#include <memory>
#include <mutex>
#include <string>

namespace quill
{

/// The latest frame of each camera. What the library delivers is copied before the lock is taken,
/// so that nobody waits for a copy. All functions are thread-safe.
class LatestFrames final : public libfreenect2::FrameListener
{
  public:
    using FramePtr = std::shared_ptr<libfreenect2::Frame>;

    /// Frames that are damaged, or of another size or format than the sensor's, are dropped; depth
    /// frames, which come with the infrared ones, are not wanted.
    /// @return false: the frame stays the library's
    bool onNewFrame(libfreenect2::Frame::Type type, libfreenect2::Frame* frame) override;

    FramePtr colour() const;
    FramePtr infrared() const;

    void clear();

    /// Since clear().
    struct Counts
    {
        int colour = 0, infrared = 0;
        int dropped = 0;
    };
    Counts counts() const;

    /// "3 colour and 5 infrared frames, 1 dropped": since clear().
    std::string summary() const;

  private:
    struct Stream
    {
        FramePtr latest;
        int count = 0;
    };

    mutable std::mutex m_mutex;
    Stream m_colour;
    Stream m_infrared;
    int m_dropped = 0;
};

}  // namespace quill
