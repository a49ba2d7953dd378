#pragma once

#include <cstdint>

#include "common/time.h"
#include "tools/kinect_standin/frame_stream.h"
#include "tools/rigsim/bytes.h"
#include "tools/rigsim/faults.h"

namespace rigsim
{

using quill::Duration;

struct KinectFrame
{
    quill::kinect::MessageHeader header;
    Bytes pixels;
};

/// The pictures of a simulated Kinect: a pure function of the camera and of the frame's number,
/// which counts from 1 at 30 Hz of simulated time. Both show a letter F, so that left, right, top
/// and bottom can be told apart, and the frame's number as a row of 32 squares, bit 0 on the left.
/// The quarters of the colour picture are red, green, blue and grey. The square roots of the
/// infrared picture's floats rise from left to right, up to 256 in the upper half and to 128 below.
class KinectModel
{
  public:
    using Kind = quill::kinect::MessageKind;

    explicit KinectModel(const Faults& faults = {});

    /// @param kind  Colour or Infrared
    KinectFrame frame(Kind kind, uint32_t number) const;

    /// The newest frame at that time after the streams began; 0 when there is none yet.
    uint32_t newestFrame(Duration sinceStart) const;

    /// When a frame is there, after the streams began.
    Duration dueTime(uint32_t number) const;

    /// Whether this camera sends frames at all.
    bool hasFrames(Kind kind) const;

  private:
    Faults m_faults;
    Bytes m_colour, m_infrared;  // without the number
};

/// Pixel of a frame in the middle of the square that shows a bit of its number, white for 1.
struct PixelPosition
{
    uint32_t x, y;
};
PixelPosition numberSquare(quill::kinect::MessageKind kind, uint32_t bit);

}  // namespace rigsim
