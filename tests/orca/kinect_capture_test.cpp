#include "tools/orca/kinect_capture.h"

#include <gmock/gmock.h>
#include <libfreenect2/frame_listener.hpp>

#include "common/time.h"
#include "devices/kinect/kinect_sensor.h"
#include "support/fake_clock.h"
#include "support/log_capture.h"
#include "tools/orca/picture_file.h"

using libfreenect2::Frame;
using quill::Duration;
using quill::milliseconds;
using testing::ElementsAre;

namespace
{

constexpr int kNever = 1000;

/// When the frames of the fake sensor are there, in polls.
struct Script
{
    int colourFrom = 1, colourUntil = kNever;
    int infraredFrom = 1;
    bool starts = true;
};
Script s_script;

/// What was done to it.
struct Outcome
{
    std::vector<std::string> calls;
    int colourPolls = 0, infraredPolls = 0;
    Duration slept = {};
};
Outcome s_outcome;

void note(const std::string& call)
{
    s_outcome.calls.push_back(call);
}

/// A frame of one pixel, 4 times the same byte.
std::shared_ptr<Frame> frame(unsigned char byte)
{
    auto made = std::make_shared<Frame>(1, 1, 4);
    std::fill_n(made->data, 4, byte);
    return made;
}

Outcome run(const Script& script)
{
    s_script = script;
    s_outcome = {};
    (void)support::takeSlept();
    support::LogCapture capture;
    captureKinectImages();
    EXPECT_EQ(capture.text(), "");
    s_outcome.slept = support::takeSlept();
    return s_outcome;
}

}  // namespace

struct quill::KinectSensor::Impl
{};

quill::KinectSensor::KinectSensor(const std::shared_ptr<GPIOPin>& pin)
{
    note(pin == nullptr ? "make" : "make with a pin");
}
quill::KinectSensor::~KinectSensor()
{
    note("release");
}
void quill::KinectSensor::setEnableRGB(bool enable)
{
    note(enable ? "enable colour" : "disable colour");
}
bool quill::KinectSensor::setMasterSwitch(bool on)
{
    note(on ? "switch on" : "switch off");
    return s_script.starts;
}
std::shared_ptr<quill::KinectHandle> quill::KinectSensor::getHandle()
{
    note("handle");
    return std::make_shared<KinectHandle>(nullptr);
}

quill::KinectHandle::KinectHandle(std::shared_ptr<LatestFrames>) {}
quill::KinectHandle::~KinectHandle()
{
    note("release handle");
}
std::shared_ptr<Frame> quill::KinectHandle::lastRGB() const
{
    const int poll = ++s_outcome.colourPolls;
    const bool isThere = poll >= s_script.colourFrom && poll < s_script.colourUntil;
    return isThere ? frame(200) : nullptr;
}
std::shared_ptr<Frame> quill::KinectHandle::lastIR() const
{
    EXPECT_EQ(++s_outcome.infraredPolls, s_outcome.colourPolls) << "colour is asked for first";
    return s_outcome.infraredPolls >= s_script.infraredFrom ? frame(0) : nullptr;
}

void writePicture(const std::string& path, const cv::Mat& image)
{
    EXPECT_EQ(image.size(), cv::Size(1, 1));
    note(path + " " + std::to_string(image.channels()) + " channel(s) " +
         std::to_string(*image.data));
}

TEST(KinectCapture, WritesBothImagesAtTheFirstPollThatHasBoth)
{
    const struct
    {
        const char* what;
        Script script;
        int polls;
    } cases[] = {
        {"at once", {}, 1},
        {"the sensor takes 3 s", {10, kNever, 10}, 10},
        {"infrared later than colour", {2, kNever, 5}, 5},
        {"in the second attempt", {40, kNever, 1}, 40},
        {"said not to start", {1, kNever, 1, false}, 1},
    };
    for (const auto& c : cases) {
        const Outcome result = run(c.script);
        EXPECT_THAT(result.calls,
                    ElementsAre("make", "enable colour", "switch on", "handle",
                                "/tmp/kinect_rgb.png 3 channel(s) 200",
                                "/tmp/kinect_ir.png 1 channel(s) 0", "release handle", "release"))
            << c.what;
        EXPECT_EQ(result.slept, milliseconds(300) * c.polls) << c.what;
    }
}

TEST(KinectCapture, GivesUpInSilenceAfterTenAttempts)
{
    const struct
    {
        const char* what;
        Script script;
    } cases[] = {
        {"no sensor", {kNever, kNever, kNever, false}},
        {"no colour", {kNever, kNever, 1}},
        {"no infrared", {1, kNever, kNever}},
        {"colour gone before infrared comes", {1, 5, 5}},
    };
    for (const auto& c : cases) {
        const Outcome result = run(c.script);
        EXPECT_THAT(result.calls, ElementsAre("make", "enable colour", "switch on", "handle",
                                              "release handle", "release"))
            << c.what;
        // Ten times 34 polls: the last one of an attempt begins before its 10 s are over.
        EXPECT_EQ(result.slept, milliseconds(102000)) << c.what;
    }
}
