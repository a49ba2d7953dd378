#include <gmock/gmock.h>

#include "support/process.h"
#include "tools/rigsim/rig.h"

namespace
{

using rigsim::Rig;
using testing::EndsWith;
using testing::HasSubstr;

support::Ended camera(const Rig& rig, std::vector<std::string> options)
{
    options.insert(options.begin(), {RIGSETUP, "camera", "--device", rig.cameraPath()});
    return support::run(options);
}

TEST(SetUpCamera, SwitchesPowerOnlyWithConsent)
{
    const struct
    {
        std::vector<std::string> options;
        int status;
        bool isOn;
        std::string lastLine;
    } cases[] = {
        {{}, 0, false, "Bit rate  9600\n"},
        {{"--power", "on"}, 1, false, "position.\n"},
        {{"--power", "on", "--dry-run", "--yes"}, 0, false, "Nothing is changed: --dry-run.\n"},
        {{"--power", "standby", "--yes"}, 0, false, "in standby already: nothing to change.\n"},
        {{"--power", "on", "--yes"}, 0, true, "Switched on: the camera confirms it.\n"},
    };
    const Rig rig({{"camera.standby"}});
    for (const auto& c : cases) {
        const auto ended = camera(rig, c.options);
        EXPECT_EQ(ended.status, c.status) << c.lastLine;
        EXPECT_THAT(ended.out, HasSubstr("  ROM       0100\n  Power     standby"));
        EXPECT_THAT(ended.out, EndsWith(c.lastLine));
        EXPECT_EQ(rig.cameraState().isOn, c.isOn) << c.lastLine;
    }
    EXPECT_EQ(rig.cameraState().moves, 0);
    EXPECT_EQ(camera(rig, {"--power", "standby", "--yes"}).status, 0);
    EXPECT_FALSE(rig.cameraState().isOn);
}

TEST(SetUpCamera, TellsHowItWasFoundOrWhyNot)
{
    const Rig fast({{"camera.at-38400", "camera.ignore-address"}});
    EXPECT_THAT(camera(fast, {}).out,
                EndsWith("Address   1 (set at the camera: it does not answer address set)\n"
                         "  Bit rate  38400\n"));
    const Rig silent({{"camera.silent"}});
    const auto ended = camera(silent, {"--power", "on", "--yes"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.err, HasSubstr("no answer (check the camera's power"));
    EXPECT_EQ(support::run({RIGSETUP, "camera", "--power", "off"}).status, 2);
    EXPECT_EQ(support::run({RIGSETUP}).status, 2);
}

}  // namespace
