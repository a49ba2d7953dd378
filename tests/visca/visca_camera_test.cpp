#include "devices/visca/visca_camera.h"

#include <gmock/gmock.h>

#include "support/log_capture.h"
#include "tools/rigsim/rig.h"

namespace quill
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;

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
        {"camera.noise=6"},
        {"camera.stray-error=500"},
        {"camera.refuse-address", "camera.echo"},
        {"camera.ack-address"},
        {"camera.ignore-address", "camera.ignore-clear", "camera.echo"},
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
        EXPECT_EQ(camera->setPanTiltPosition(20, 20, c.pan, 0, seconds(2)), c.result);
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

}  // namespace
}  // namespace quill
