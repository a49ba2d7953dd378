#include "devices/kinect/kinect_handle.h"

#include <utility>

#include "latest_frames.h"

namespace quill
{

KinectHandle::KinectHandle(std::shared_ptr<LatestFrames> frames) : m_frames(std::move(frames)) {}

KinectHandle::~KinectHandle() = default;

std::shared_ptr<libfreenect2::Frame> KinectHandle::lastRGB() const
{
    return m_frames->colour();
}

std::shared_ptr<libfreenect2::Frame> KinectHandle::lastIR() const
{
    return m_frames->infrared();
}

}  // namespace quill
