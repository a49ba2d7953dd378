#pragma once

#include <memory>

#include "devices/kinect/kinect_handle.h"

namespace quill
{

class GPIOPin;

/// A Kinect v2 on USB 3, the first one that libfreenect2 finds. Owned by a std::shared_ptr from the
/// moment it is made; the release of the last one stops the sensor and frees the device, and so
/// does an interrupt (common/interrupt.h). Frames arrive on threads of the library. Main thread
/// only.
class KinectSensor : public std::enable_shared_from_this<KinectSensor>
{
  public:
    /// Nothing is opened yet.
    /// @param pin  switches the sensor's power supply where the rig can; may be empty. Held as long
    /// as the sensor, so that the pin keeps its level; whoever passes one sets it.
    explicit KinectSensor(const std::shared_ptr<GPIOPin>& pin);
    virtual ~KinectSensor();
    KinectSensor(const KinectSensor&) = delete;
    KinectSensor& operator=(const KinectSensor&) = delete;

    /// Whether the colour stream is delivered as well as the infrared one; false at first. Counts
    /// from the next setMasterSwitch(true) on.
    void setEnableRGB(bool enable);

    /// True finds the sensor, opens it and starts the streams, which may take some seconds; nothing
    /// is done when it streams already. False stops and closes it; the handle keeps its frames.
    /// @return whether it streams now. Why it does not is logged, with the remedy, in one line of
    /// level 3, category "kinect", and so is the end of streams that nobody has stopped; what the
    /// library says goes to level 5. A start that fails with colour leaves the device open until
    /// the process ends.
    bool setMasterSwitch(bool on);

    /// The handle to the frames, the same one at every call; never empty.
    virtual std::shared_ptr<KinectHandle> getHandle();

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace quill
