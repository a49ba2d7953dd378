#include "devices/kinect/kinect_sensor.h"

#include <gmock/gmock.h>
#include <libfreenect2/frame_listener.hpp>

#include <cstring>

#include "common/time.h"
#include "support/log_capture.h"
#include "tools/rigsim/rig.h"

// The sensor on the Kinect of a simulated rig in the same process.

namespace quill
{
namespace
{

using kinect::MessageKind;
using rigsim::KinectState;
using rigsim::Rig;
using testing::ElementsAre;
using testing::StartsWith;

using FramePtr = std::shared_ptr<libfreenect2::Frame>;

constexpr Duration kLongWait = seconds(30);

std::shared_ptr<KinectSensor> sensorOf(const Rig& rig)
{
    setenv("RIGSIM_KINECT", rig.kinect().path().c_str(), 1);
    return std::make_shared<KinectSensor>(nullptr);
}

FramePtr waitForFrame(const KinectHandle& handle, FramePtr (KinectHandle::*last)() const)
{
    const Time end = Time::now() + kLongWait;
    FramePtr frame;
    while ((frame = (handle.*last)()) == nullptr && Time::now() < end) sleep(milliseconds(1));
    return frame;
}

bool isStopped(const KinectState& state)
{
    return state.stops == 1;
}

void expectPicture(const FramePtr& frame, MessageKind kind, const std::string& what)
{
    ASSERT_NE(frame, nullptr) << what;
    static const rigsim::KinectModel model;
    const auto sent = model.frame(kind, frame->sequence);
    EXPECT_EQ(frame->timestamp, sent.header.timestamp) << what;
    ASSERT_EQ(frame->width * frame->height * frame->bytes_per_pixel, sent.pixels.size()) << what;
    EXPECT_EQ(std::memcmp(frame->data, sent.pixels.data(), sent.pixels.size()), 0) << what;
}

TEST(KinectSensor, DeliversBothPicturesAndStopsWhenReleased)
{
    for (const char* fault : {"kinect.slow=0", "kinect.rgbx", "kinect.damaged"}) {
        const Rig rig({{fault}});
        auto sensor = sensorOf(rig);
        sensor->setEnableRGB(true);
        EXPECT_TRUE(sensor->setMasterSwitch(true));
        EXPECT_TRUE(sensor->setMasterSwitch(true)) << "streams already";
        const auto handle = sensor->getHandle();
        const FramePtr colour = waitForFrame(*handle, &KinectHandle::lastRGB);
        expectPicture(colour, MessageKind::Colour, fault);
        expectPicture(waitForFrame(*handle, &KinectHandle::lastIR), MessageKind::Infrared, fault);
        EXPECT_TRUE(rig.kinectState().isStreaming);
        sensor.reset();
        EXPECT_TRUE(rig.kinect().waitFor(isStopped, kLongWait)) << fault;
        EXPECT_EQ(rig.kinectState().starts, 1);
        expectPicture(colour, MessageKind::Colour, "held longer than the sensor");
        EXPECT_NE(handle->lastRGB(), nullptr);
    }
}

TEST(KinectSensor, StreamsInfraredOnlyUnlessColourIsAskedFor)
{
    const Rig rig;
    const auto sensor = sensorOf(rig);
    const auto handle = sensor->getHandle();
    EXPECT_TRUE(sensor->setMasterSwitch(true));
    EXPECT_NE(waitForFrame(*handle, &KinectHandle::lastIR), nullptr);
    EXPECT_FALSE(sensor->setMasterSwitch(false));
    EXPECT_TRUE(rig.kinect().waitFor(isStopped, kLongWait));
    EXPECT_EQ(rig.kinectState().colourFrames, 0);
    EXPECT_EQ(handle->lastRGB(), nullptr);

    sensor->setEnableRGB(true);
    EXPECT_TRUE(sensor->setMasterSwitch(true)) << "once more";
    EXPECT_NE(waitForFrame(*handle, &KinectHandle::lastRGB), nullptr);
    EXPECT_EQ(rig.kinectState().starts, 2);
}

TEST(KinectSensor, SaysOnceWhyItDoesNotStream)
{
    const struct
    {
        const char* fault;
        const char* line;
    } cases[] = {
        {"kinect.absent", "3 kinect: Kinect: find: no sensor on the USB bus (plug it in"},
        {"kinect.no-permission", "3 kinect: Kinect: open: Permission denied (add a udev rule"},
        {"kinect.busy", "3 kinect: Kinect: open: the sensor is held by another program (end it)"},
        {"kinect.usb2",
         "3 kinect: Kinect: start: the sensor is there, but fails; the library says: "
         "cannot start the isochronous transfers"},
    };
    for (const auto& c : cases) {
        const Rig rig({{c.fault}});
        const auto sensor = sensorOf(rig);
        support::LogCapture capture;
        EXPECT_FALSE(sensor->setMasterSwitch(true));
        EXPECT_THAT(capture.records(), ElementsAre(StartsWith(c.line))) << c.fault;
        EXPECT_FALSE(sensor->setMasterSwitch(false));
        EXPECT_EQ(rig.kinectState().starts, 0);
    }
    for (const char* socket : {"", "/nowhere/kinect"}) {
        const auto sensor = std::make_shared<KinectSensor>(nullptr);
        setenv("RIGSIM_KINECT", socket, 1);
        support::LogCapture capture;
        EXPECT_FALSE(sensor->setMasterSwitch(true));
        EXPECT_THAT(capture.text(),
                    testing::HasSubstr(*socket == '\0'
                                           ? "kinect: Kinect: find: this build has no libfreenect2"
                                           : "RIGSIM_KINECT=/nowhere/kinect: no simulated "
                                             "sensor: No such file or directory"));
    }
}

TEST(KinectSensor, EndsInOrderWhenItIsUnpluggedWhileItStreams)
{
    Rig rig;
    auto sensor = sensorOf(rig);
    sensor->setEnableRGB(true);
    EXPECT_TRUE(sensor->setMasterSwitch(true));
    const auto handle = sensor->getHandle();
    const FramePtr before = waitForFrame(*handle, &KinectHandle::lastIR);
    ASSERT_NE(before, nullptr);
    rig.kinect().unplug();
    EXPECT_FALSE(sensor->setMasterSwitch(false));
    EXPECT_GE(handle->lastIR()->sequence, before->sequence) << "the last frame stays";
    support::LogCapture capture;
    EXPECT_FALSE(sensor->setMasterSwitch(true));
    EXPECT_THAT(capture.text(), testing::HasSubstr("no sensor on the USB bus"));
    EXPECT_EQ(handle->lastIR(), nullptr) << "of the new start there is none";
    sensor.reset();
    EXPECT_EQ(rig.kinectState().starts, 1);
}

}  // namespace
}  // namespace quill
