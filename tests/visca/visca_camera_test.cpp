#include "devices/visca/visca_camera.h"

#include <gmock/gmock.h>

#include "devices/visca/visca_codec.h"
#include "scripted_camera.h"
#include "support/log_capture.h"
#include "tools/rigsim/rig.h"

namespace quill
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using visca::Bytes;

const Bytes kAcknowledge1 = {0x90, 0x41, 0xFF};
const Bytes kCompletion1 = {0x90, 0x51, 0xFF};
const Bytes kCompletion2 = {0x90, 0x52, 0xFF};
const Bytes kNotExecutable1 = {0x90, 0x61, 0x41, 0xFF};
const Bytes kPanTilt = {0x90, 0x50, 0, 0, 6, 4, 0xF, 0xF, 0xE, 0xC, 0xFF};  // 100, -20
const Bytes kOtherPanTilt = {0x90, 0x50, 0, 0, 0, 1, 0, 0, 0, 1, 0xFF};
const Bytes kZoom = {0x90, 0x50, 0, 0, 0, 3, 0xFF};

constexpr Duration kTimeout = seconds(5);

constexpr double kSpeed = 20;

TEST(ViscaCameraOnTheRig, MovesZoomsAndReadsBackWhateverTheLineDoes)
{
    const std::initializer_list<const char*> faultSets[] = {
        {},
        {"camera.noise"},
        {"camera.echo"},
        {"camera.split"},
        {"camera.echo", "camera.noise", "camera.split"},
        {"camera.stale"},
        {"camera.slow=2000"},  // 100 ms at this speed
        {"camera.refuse-clear"},
        {"camera.refuse-clear", "camera.echo"},
        {"camera.ignore-clear"},
        {"camera.no-ack"},
        {"camera.one-socket"},
        {"camera.other-address"},
        {"camera.buffer-full=3"},
        {"camera.late-ack"},
    };
    for (const auto& faults : faultSets) {
        std::string name = "faults:";
        for (const char* fault : faults) name += std::string(" ") + fault;
        SCOPED_TRACE(name);
        rigsim::Rig rig({rigsim::Faults(faults), kSpeed});
        support::LogCapture log;
        const auto camera = VISCACamera::open(rig.cameraPath(), seconds(1));
        ASSERT_NE(camera, nullptr) << log.text();
        EXPECT_EQ(camera->setPanTiltPosition(20, 20, -100, 20, kTimeout), 0);
        EXPECT_EQ(camera->setZoomPosition(300, kTimeout), 0);
        EXPECT_TRUE(rig.waitForCamera(
            [](const auto& state) { return state.moves == 2 && !state.isMoving; }, seconds(20)));
        int pan = 0;
        int tilt = 0;
        uint16_t zoom = 0;
        EXPECT_EQ(camera->getPanTiltPosition(&pan, &tilt, kTimeout), 0);
        EXPECT_EQ(camera->getZoomPosition(&zoom, kTimeout), 0);
        EXPECT_EQ(pan, -100);
        EXPECT_EQ(tilt, 20);
        EXPECT_EQ(zoom, 300);
        EXPECT_EQ(log.text(), "");
    }
}

TEST(ViscaCameraOnTheRig, OpensWithAddressSetAndInterfaceClear)
{
    rigsim::Rig rig;
    const Time start = Time::now();
    const auto camera = VISCACamera::open(rig.cameraPath(), seconds(1));
    ASSERT_NE(camera, nullptr);
    EXPECT_LT(Time::now() - start, milliseconds(500)) << "it answers within some 20 ms";
    EXPECT_THAT(rig.cameraPackets(),
                ElementsAre(Bytes{0x88, 0x30, 0x01, 0xFF}, Bytes{0x88, 0x01, 0x00, 0x01, 0xFF}));
}

TEST(ViscaCameraOnTheRig, CannotBeOpenedWhenNothingGoodComesBack)
{
    for (const char* fault : {"camera.silent", "camera.cut"}) {
        rigsim::Rig rig({{fault}, kSpeed});
        support::LogCapture log;
        EXPECT_EQ(VISCACamera::open(rig.cameraPath(), seconds(1)), nullptr) << fault;
        EXPECT_THAT(log.records(),
                    ElementsAre("3 visca: " + rig.cameraPath() +
                                ": find the camera: no answer (check the camera's power, cable and "
                                "bit rate (9600))"))
            << fault;
    }
}

TEST(ViscaCameraOnTheRig, RefusalsAreGivenInWords)
{
    const struct
    {
        const char* fault;
        int pan;
        int result;
        const char* words;
    } cases[] = {
        {"camera.refuse", 0, VISCACamera::kRefused,
         "the camera refuses: not executable: target out of range, or the camera is in standby"},
        {"camera.standby", 0, VISCACamera::kRefused, "in standby"},
        {"camera.noise", 3000, VISCACamera::kRefused,
         "move to pan 3000, tilt 0 at speeds 20, 20: the camera refuses: "},
        {"camera.buffer-full", 0, VISCACamera::kRefused, "command buffer full"},
        {"camera.noise", 32768, VISCACamera::kOutOfRange,
         "not sent, a value does not fit the packet"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.words);
        rigsim::Rig rig({{c.fault}, kSpeed});
        const auto camera = VISCACamera::open(rig.cameraPath(), seconds(1));
        ASSERT_NE(camera, nullptr);
        const size_t before = rig.cameraPackets().size();
        support::LogCapture log;
        EXPECT_EQ(camera->setPanTiltPosition(20, 20, c.pan, 0, milliseconds(350)), c.result);
        EXPECT_THAT(log.records(), ElementsAre(HasSubstr(c.words)));
        rig.settle();
        const size_t sent = rig.cameraPackets().size() - before;
        EXPECT_EQ(sent == 0, c.result == VISCACamera::kOutOfRange);
        EXPECT_EQ(sent > 2, std::string(c.fault) == "camera.buffer-full") << "is repeated";
    }
}

TEST(ViscaCameraOnTheRig, RehomingReturnsWhenTheCameraIsHome)
{
    rigsim::Rig rig({{}, kSpeed});
    const auto camera = VISCACamera::open(rig.cameraPath(), seconds(1));
    ASSERT_NE(camera, nullptr);
    EXPECT_EQ(camera->setPanTiltPosition(24, 20, 500, 300, kTimeout), 0);
    EXPECT_TRUE(rig.waitForCamera([](const auto& state) { return !state.isMoving; }, seconds(10)));
    EXPECT_EQ(camera->rehomePanTilt(seconds(30)), 0);
    const auto state = rig.cameraState();
    EXPECT_FALSE(state.isMoving);
    EXPECT_EQ(state.pan, 0);
    EXPECT_EQ(state.tilt, 0);
}

TEST(ViscaCameraOnTheRig, PulledPlugEndsEveryOperationAtOnce)
{
    rigsim::Rig rig({{}, kSpeed});
    const auto camera = VISCACamera::open(rig.cameraPath(), seconds(1));
    ASSERT_NE(camera, nullptr);
    rig.unplugCamera();
    const Time start = Time::now();
    support::LogCapture log;
    int pan = 7;
    int tilt = 7;
    uint16_t zoom = 7;
    EXPECT_EQ(camera->getPanTiltPosition(&pan, &tilt, seconds(60)), VISCACamera::kConnectionLost);
    EXPECT_EQ(camera->getZoomPosition(&zoom, seconds(60)), VISCACamera::kConnectionLost);
    EXPECT_EQ(camera->setZoomPosition(1, seconds(60)), VISCACamera::kConnectionLost);
    EXPECT_EQ(camera->rehomePanTilt(seconds(60)), VISCACamera::kConnectionLost);
    EXPECT_LT(Time::now() - start, seconds(1));
    EXPECT_EQ(pan, 7);
    EXPECT_EQ(zoom, 7);
    EXPECT_THAT(log.records().front(),
                HasSubstr("ask for pan and tilt: Input/output error (unplugged?)"));
}

/// A camera that answers address set and interface clear, then as scripted.
class ViscaConversation : public testing::Test
{
  protected:
    /// Opens the camera; each entry of `script` is what it says to one packet after that.
    std::shared_ptr<VISCACamera> open(std::vector<std::vector<Bytes>> script)
    {
        script.insert(script.begin(),
                      {{{0x88, 0x30, 0x02, 0xFF}}, {{0x88, 0x01, 0x00, 0x01, 0xFF}}});
        scripted = std::make_unique<support::ScriptedCamera>(std::move(script));
        auto camera = VISCACamera::open(scripted->path(), seconds(1));
        EXPECT_NE(camera, nullptr);
        return camera;
    }

    std::unique_ptr<support::ScriptedCamera> scripted;
    int pan = 7;
    int tilt = 7;
    uint16_t zoom = 7;
};

TEST_F(ViscaConversation, InquiryTakesOnlyItsOwnReply)
{
    const struct
    {
        const char* what;
        std::vector<Bytes> reply;
    } cases[] = {
        {"alone", {kPanTilt}},
        {"behind a late completion", {kCompletion1, kPanTilt}},
        {"behind completions of both sockets and a network change",
         {kCompletion1, kCompletion2, {0x90, 0x38, 0xFF}, kPanTilt}},
        {"behind the late answer of another inquiry", {kZoom, kPanTilt}},
        {"behind noise", {{0x00, 0xFF, 0x13}, kPanTilt}},
        {"behind its own echo", {{0x81, 0x09, 0x06, 0x12, 0xFF}, kPanTilt}},
        {"behind a damaged one", {{0x90, 0x50, 0, 0, 6, 4, 0xF, 0xF, 0xFF}, kPanTilt}},
        {"from another address", {{0xB0, 0x50, 0, 0, 6, 4, 0xF, 0xF, 0xE, 0xC, 0xFF}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        pan = tilt = 7;
        const auto camera = open({c.reply});
        EXPECT_EQ(camera->getPanTiltPosition(&pan, &tilt, kTimeout), 0);
        EXPECT_EQ(pan, 100);
        EXPECT_EQ(tilt, -20);
    }
}

TEST_F(ViscaConversation, FailedInquiryLeavesTheOutputsAlone)
{
    const auto camera = open({{}, {{0x90, 0x60, 0x02, 0xFF}}, {kPanTilt}});
    support::LogCapture log;
    EXPECT_EQ(camera->getPanTiltPosition(&pan, &tilt, milliseconds(50)), VISCACamera::kNoAnswer);
    EXPECT_EQ(camera->getZoomPosition(&zoom, kTimeout), VISCACamera::kRefused);
    EXPECT_EQ(camera->getZoomPosition(&zoom, milliseconds(50)), VISCACamera::kNoAnswer)
        << "an answer of another length";
    EXPECT_EQ(pan, 7);
    EXPECT_EQ(zoom, 7);
    EXPECT_THAT(log.records(),
                ElementsAre(HasSubstr("ask for pan and tilt: no answer (check"),
                            HasSubstr("ask for zoom: the camera refuses: syntax error: the camera "
                                      "does not know the command, or a value is out of its range"),
                            HasSubstr("ask for zoom: no answer")));
}

TEST_F(ViscaConversation, AnswerToAnInquiryThatWasGivenUpIsNotTakenForTheNext)
{
    const auto camera = open({{}, {kPanTilt}});
    support::LogCapture log;
    EXPECT_EQ(camera->getPanTiltPosition(&pan, &tilt, milliseconds(50)), VISCACamera::kNoAnswer);
    scripted->say(kOtherPanTilt);
    EXPECT_EQ(camera->getPanTiltPosition(&pan, &tilt, kTimeout), 0);
    EXPECT_EQ(pan, 100);
}

TEST_F(ViscaConversation, CompletionsCountForTheCommandTheyBelongTo)
{
    const struct
    {
        const char* what;
        std::vector<Bytes> toMove;
        std::vector<Bytes> toZoom;
        int zoomResult;
    } cases[] = {
        {"completion of the move, then the zoom is refused",
         {kAcknowledge1},
         {kCompletion1, kNotExecutable1},
         VISCACamera::kRefused},
        {"both on one socket", {kAcknowledge1}, {kCompletion1, kAcknowledge1}, 0},
        {"socket acknowledged twice", {kAcknowledge1}, {kAcknowledge1}, 0},
        {"completed without acknowledgement", {kCompletion1}, {kCompletion2}, 0},
        {"a completion of an earlier run, then refused",
         {kAcknowledge1},
         {kCompletion2, kNotExecutable1},
         VISCACamera::kRefused},
        {"only the completion of the move",
         {kAcknowledge1},
         {kCompletion1},
         VISCACamera::kNoAnswer},
        {"an answer to a late inquiry is no completion",
         {kAcknowledge1},
         {kZoom},
         VISCACamera::kNoAnswer},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const auto camera = open({c.toMove, c.toZoom});
        support::LogCapture log;
        EXPECT_EQ(camera->setPanTiltPosition(1, 1, 1, 1, kTimeout), 0);
        EXPECT_EQ(camera->setZoomPosition(1, milliseconds(400)), c.zoomResult);
    }
}

TEST_F(ViscaConversation, RehomingWaitsForItsOwnCompletion)
{
    const auto camera =
        open({{kAcknowledge1}, {kAcknowledge1, kCompletion2}, {kAcknowledge1, kNotExecutable1}});
    support::LogCapture log;
    EXPECT_EQ(camera->setPanTiltPosition(1, 1, 1, 1, kTimeout), 0);
    EXPECT_EQ(camera->rehomePanTilt(milliseconds(100)), VISCACamera::kNoAnswer)
        << "a completion of another socket";
    EXPECT_EQ(camera->rehomePanTilt(kTimeout), VISCACamera::kRefused);
}

TEST_F(ViscaConversation, FloodOfBytesDoesNotHoldItPastTheDeadline)
{
    for (const Bytes& flood : {Bytes(100, 0x55), kCompletion2, kZoom}) {
        const auto camera = open({{}});
        support::LogCapture log;
        scripted->babble(flood);
        const Time start = Time::now();
        EXPECT_EQ(camera->getPanTiltPosition(&pan, &tilt, milliseconds(200)),
                  VISCACamera::kNoAnswer);
        EXPECT_LT(Time::now() - start, seconds(5));
    }
}

}  // namespace
}  // namespace quill
