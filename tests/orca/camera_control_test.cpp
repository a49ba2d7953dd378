#include <gmock/gmock.h>

#include <deque>
#include <optional>

#include "common/logging.h"
#include "devices/visca/visca_camera.h"
#include "support/fake_clock.h"
#include "support/log_capture.h"
#include "tools/orca/hardware_driver.h"

using quill::Duration;
using quill::milliseconds;
using quill::seconds;
using quill::VISCACamera;
using testing::ElementsAre;

namespace
{

/// What one position query of the fake camera gives, and how long it takes.
struct Answer
{
    int pan = 0;
    int tilt = 0;
    int zoom = 0;
    int panTiltResult = 0;
    int zoomResult = 0;
    Duration takes = {};
};

Answer at(int position)
{
    return {position, position, position};
}
Answer silent()
{
    return {0, 0, 0, VISCACamera::kNoAnswer, 0, seconds(1)};
}
Answer noZoom(int position)
{
    return {position, position, 0, 0, VISCACamera::kRefused};
}
Answer unplugged()
{
    return {0, 0, 0, VISCACamera::kConnectionLost};
}

/// The script and the notes of the fake camera.
struct Script
{
    bool present = true;
    int moveResult = 0;
    int zoomResult = 0;
    int panTiltOutcome = 0;
    int zoomOutcome = 0;
    std::deque<Answer> answers;  ///< then the last one again and again
    bool restless = false;       ///< then every answer differs from the one before
    std::vector<std::string> calls;
    int polls = 0;
};
Script s_script;

void note(const std::string& call, Duration timeout)
{
    s_script.calls.push_back(call + " within " + std::to_string(timeout.nanoseconds() / 1000000) +
                             " ms");
}

class FakeCamera final : public VISCACamera
{
  public:
    ~FakeCamera() override { s_script.calls.push_back("close"); }

    int rehomePanTilt(const Duration& timeout) override
    {
        note("re-home", timeout);
        return kNoAnswer;
    }
    int setPanTiltPosition(int panSpeed, int tiltSpeed, int pan, int tilt,
                           const Duration& timeout) override
    {
        note("move " + std::to_string(panSpeed) + "/" + std::to_string(tiltSpeed) + " to " +
                 std::to_string(pan) + "," + std::to_string(tilt),
             timeout);
        return s_script.moveResult;
    }
    int getPanTiltPosition(int* pan, int* tilt, const Duration& timeout) override
    {
        EXPECT_EQ(timeout, seconds(1));
        ++s_script.polls;
        if (!s_script.answers.empty()) {
            m_answer = s_script.answers.front();
            s_script.answers.pop_front();
        } else if (s_script.restless) {
            ++m_answer.pan;
        }
        support::advanceClock(m_answer.takes);
        if (m_answer.panTiltResult != 0) return m_answer.panTiltResult;
        *pan = m_answer.pan;
        *tilt = m_answer.tilt;
        return kDone;
    }
    int setZoomPosition(int zoom, const Duration& timeout) override
    {
        note("zoom to " + std::to_string(zoom), timeout);
        return s_script.zoomResult;
    }
    int getZoomPosition(uint16_t* zoom, const Duration& timeout) override
    {
        EXPECT_EQ(timeout, seconds(1));
        if (m_answer.zoomResult != 0) return m_answer.zoomResult;
        *zoom = static_cast<uint16_t>(m_answer.zoom);
        return kDone;
    }
    int panTiltOutcome() const override { return s_script.panTiltOutcome; }
    int zoomOutcome() const override { return s_script.zoomOutcome; }

  private:
    Answer m_answer;
};

struct Outcome
{
    std::vector<std::string> calls;
    std::vector<std::string> log;
    int polls;
    Duration slept;
};

Outcome run(const std::string& commands, Script script)
{
    s_script = std::move(script);
    (void)support::takeSlept();
    support::LogCapture capture;
    EXPECT_EQ(HardwareDriver("/dev/camera").executeCommands(commands), 0);
    return {s_script.calls, capture.records(), s_script.polls, support::takeSlept()};
}

Outcome settle(std::deque<Answer> answers, bool restless = false)
{
    Script script;
    script.answers = std::move(answers);
    script.restless = restless;
    return run("pantilt(1,2)", script);
}

}  // namespace

std::shared_ptr<VISCACamera> VISCACamera::open(const std::string& device, const Duration& timeout)
{
    note("open " + device, timeout);
    return s_script.present ? std::make_shared<FakeCamera>() : nullptr;
}

TEST(CameraCommands, WithoutACameraEachReportsOnceAndTheListGoesOn)
{
    Script script;
    script.present = false;
    const Outcome result = run("pantiltzoom(1,2,3);pantilt(1,2);getpantiltzoom;resetptz", script);
    EXPECT_EQ(result.log,
              std::vector<std::string>(4, "2 visca_control: Failed to open VISCA camera."));
    EXPECT_EQ(result.calls, std::vector<std::string>(4, "open /dev/camera within 1000 ms"));
}

TEST(CameraCommands, PanTiltZoomMovesZoomsAtOnceAndWaits)
{
    Script script;
    script.answers = {at(5), at(6)};
    const Outcome result = run("pantiltzoom(-100,-20,99999)", script);
    EXPECT_THAT(result.calls, ElementsAre("open /dev/camera within 1000 ms",
                                          "move 20/20 to -100,-20 within 10000 ms",
                                          "zoom to 99999 within 10000 ms", "close"));
    EXPECT_THAT(result.log,
                ElementsAre("4 visca_control: setPanTiltZoom(-100,-20,99999)",
                            "4 visca_control: Setting Zoom.", "4 visca_control: Wait",
                            "4 visca_control: pan=6 tilt=6 zoom=6", "4 visca_control: Done."));
}

TEST(CameraCommands, RefusedOrdersAreReportedAndTheRestRunsAllTheSame)
{
    Script script;
    script.moveResult = VISCACamera::kRefused;
    script.zoomResult = VISCACamera::kOutOfRange;
    const Outcome result = run("pantiltzoom(1,2,3);pantilt(1,2)", script);
    EXPECT_EQ(result.calls[5], "move 15/15 to 1,2 within 10000 ms");
    EXPECT_THAT(
        result.log,
        ElementsAre("4 visca_control: setPanTiltZoom(1,2,3)",
                    "2 visca_control: Failed to set pan tilt.", "4 visca_control: Setting Zoom.",
                    "2 visca_control: Failed to set zoom.", "4 visca_control: Wait",
                    "4 visca_control: pan=0 tilt=0 zoom=0", "4 visca_control: Done.",
                    "4 visca_control: setPanTilt(1,2)", "2 visca_control: Failed to set pan tilt.",
                    "4 visca_control: pan=0 tilt=0 zoom=0"));
}

TEST(CameraCommands, OrdersThatAreGivenUpAreReportedBehindTheWait)
{
    Script script;
    script.panTiltOutcome = script.zoomOutcome = VISCACamera::kRefused;
    const Outcome result = run("pantiltzoom(1,2,3);pantilt(1,2)", script);
    EXPECT_THAT(
        result.log,
        ElementsAre("4 visca_control: setPanTiltZoom(1,2,3)", "4 visca_control: Setting Zoom.",
                    "4 visca_control: Wait", "4 visca_control: pan=0 tilt=0 zoom=0",
                    "2 visca_control: Failed to set pan tilt.",
                    "2 visca_control: Failed to set zoom.", "4 visca_control: Done.",
                    "4 visca_control: setPanTilt(1,2)", "4 visca_control: pan=0 tilt=0 zoom=0",
                    "2 visca_control: Failed to set pan tilt."));
}

TEST(CameraCommands, GetPanTiltZoomLogsItsLineAndZeroForWhatFailed)
{
    const struct
    {
        Answer answer;
        const char* line;
    } cases[] = {
        {{-5, 6, 65535}, "4 visca_control: pan=-5 tilt=6 zoom=65535"},
        {{1, 2, 3, VISCACamera::kNoAnswer, 0}, "4 visca_control: pan=0 tilt=0 zoom=3"},
        {{1, 2, 3, VISCACamera::kNoAnswer, VISCACamera::kNoAnswer},
         "4 visca_control: pan=0 tilt=0 zoom=0"},
    };
    for (const auto& c : cases) {
        Script script;
        script.answers = {c.answer};
        const Outcome result = run("getpantiltzoom", script);
        EXPECT_THAT(result.log, ElementsAre(c.line));
        EXPECT_EQ(result.slept, Duration());
    }
}

TEST(CameraCommands, ResetReturnsWithTheOrderAndSaysNothing)
{
    const Outcome result = run("resetptz", {});
    EXPECT_THAT(result.calls,
                ElementsAre("open /dev/camera within 1000 ms", "re-home within 30000 ms", "close"));
    EXPECT_THAT(result.log, ElementsAre());
    EXPECT_EQ(result.polls, 0);
}

TEST(SettleWait, EndsAtTheThirdEqualReadingInARow)
{
    const struct
    {
        const char* what;
        std::deque<Answer> answers;
        int polls;
    } cases[] = {
        {"at rest", {at(10)}, 3},
        {"stops after two changes", {at(10), at(20), at(30)}, 5},
        {"only the zoom changes", {{1, 1, 1}, {1, 1, 2}, {1, 1, 3}}, 5},
        {"a change after one equal reading", {at(10), at(10), at(20)}, 5},
        {"a failed query neither counts nor starts over", {at(10), at(10), silent(), at(10)}, 4},
        {"nor does a failed zoom query of another position", {at(10), noZoom(11), at(10)}, 4},
        {"the first reading equals the reference", {{-1, -1, 0xFFFF}}, 2},
    };
    for (const auto& c : cases) {
        const Outcome result = settle(c.answers);
        EXPECT_EQ(result.polls, c.polls) << c.what;
        EXPECT_EQ(result.slept, milliseconds(100) * c.polls) << c.what;
        EXPECT_EQ(result.log.size(), 2u) << c.what;
    }
}

TEST(SettleWait, EndsWithItsReasonWhenTheCameraDoesNot)
{
    const std::string ends = "2 visca_control: Not waiting for the camera any longer: ";
    const struct
    {
        const char* what;
        std::deque<Answer> answers;
        bool restless;
        int polls;
        const char* reason;
    } cases[] = {
        {"silent from the start", {silent()}, false, 10, "no position reading for 10 s."},
        {"silent after a reading", {at(1), silent()}, false, 11, "no position reading for 10 s."},
        {"answers that never repeat", {}, true, 1200, "it still moves after 120 s."},
        {"unplugged", {at(1), unplugged()}, false, 2, "the connection to it is lost."},
    };
    for (const auto& c : cases) {
        const Outcome result = settle(c.answers, c.restless);
        EXPECT_EQ(result.polls, c.polls) << c.what;
        EXPECT_THAT(result.log, ElementsAre("4 visca_control: setPanTilt(1,2)", ends + c.reason))
            << c.what;
    }
}
