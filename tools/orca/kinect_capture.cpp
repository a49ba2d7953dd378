#include "tools/orca/kinect_capture.h"

#include <memory>

#include "common/time.h"
#include "devices/kinect/kinect_sensor.h"
#include "tools/orca/kinect_conversion.h"
#include "tools/orca/picture_file.h"

namespace
{

using FramePtr = std::shared_ptr<libfreenect2::Frame>;

constexpr int kAttempts = 10;
constexpr quill::Duration kAttemptTime = quill::seconds(10);
constexpr quill::Duration kPollInterval = quill::milliseconds(300);

bool waitForBoth(const quill::KinectHandle& handle, FramePtr* rgb, FramePtr* ir)
{
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const quill::Time end = quill::Time::now() + kAttemptTime;
        while (quill::Time::now() < end) {
            quill::sleep(kPollInterval);
            *rgb = handle.lastRGB();
            *ir = handle.lastIR();
            if (*rgb != nullptr && *ir != nullptr) return true;
        }
    }
    return false;
}

}  // namespace

void captureKinectImages()
{
    const auto sensor = std::make_shared<quill::KinectSensor>(std::shared_ptr<quill::GPIOPin>());
    sensor->setEnableRGB(true);
    sensor->setMasterSwitch(true);
    const std::shared_ptr<quill::KinectHandle> handle = sensor->getHandle();
    FramePtr rgb;
    FramePtr ir;
    if (!waitForBoth(*handle, &rgb, &ir)) return;
    cv::Mat image;
    kinectRGBToOpenCV(*rgb, &image);
    writePicture("/tmp/kinect_rgb.png", image);
    kinectIRToOpenCV(*ir, &image);
    writePicture("/tmp/kinect_ir.png", image);
}
