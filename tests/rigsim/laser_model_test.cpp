#include "tools/rigsim/laser_model.h"

#include <gtest/gtest.h>

#include "model_talk.h"

namespace
{

using namespace rigsim;
using model_talk::Send;

const std::string kOn = "A0 01 01 A2 ";
const std::string kOff = "A0 01 00 A1 ";

/// The state after 10 s as "on" or "off", packets, rejected ones, switches, times it went on.
/// Times in ms; a packet takes 4.17 ms.
std::string after(const Faults& faults, unsigned bitRate, const std::vector<Send>& sends)
{
    LaserModel laser(faults);
    EXPECT_EQ(model_talk::talk(&laser, bitRate, quill::milliseconds(1), sends), "");
    const LaserState state = laser.state(Time() + quill::seconds(10));
    return fmt::format("{} {} {} {} {}{}", state.isOn ? "on" : "off", state.packets, state.rejected,
                       state.switches, state.switchedOn, state.isPlugged ? "" : " unplugged");
}

TEST(LaserModel, ObeysWholePacketsAndFindsThemInNoise)
{
    const struct
    {
        const char* name;
        std::vector<Send> sends;
        const char* expected;
    } cases[] = {
        {"on", {{0, kOn}}, "on 1 0 1 1"},
        {"on, on, off, on", {{0, kOn}, {9, kOn + kOff}, {50, kOn}}, "on 4 0 3 2"},
        {"a packet in two writes", {{0, "A0 01"}, {500, "01 A2"}}, "on 1 0 1 1"},
        {"noise before it", {{0, "00 01 FF " + kOn}}, "on 1 0 1 1"},
        {"a start byte too many", {{0, "A0 " + kOn}}, "on 2 1 1 1"},
        {"cut, then a whole one", {{0, "A0 01 "}, {10, kOn}}, "on 2 1 1 1"},
        {"wrong checksum", {{0, kOn}, {10, "A0 01 00 A2"}}, "on 2 1 1 1"},
        {"channel 2", {{0, "A0 02 01 A3"}}, "off 1 1 0 0"},
        {"neither on nor off", {{0, "A0 01 02 A3"}}, "off 1 1 0 0"},
    };
    for (const auto& c : cases) EXPECT_EQ(after({}, 9600, c.sends), c.expected) << c.name;
    EXPECT_EQ(after({}, 19200, {{0, kOn}}), "off 0 0 0 0");
}

TEST(LaserModel, ShowsItsFaults)
{
    const std::vector<Send> sends = {{100, kOn}, {200, kOff}, {300, kOn}};
    const std::pair<const char*, const char*> cases[] = {
        {"laser.stuck", "off 3 0 0 0"},
        {"laser.unplug=0.104", "off 0 0 0 0 unplugged"},
        {"laser.unplug=0.105", "off 1 0 1 1 unplugged"},
        {"laser.unplug-on-switch", "off 1 0 1 1 unplugged"},
        {"laser.unplug-on-switch=150", "off 2 0 2 1 unplugged"},
    };
    for (const auto& [fault, expected] : cases)
        EXPECT_EQ(after({fault}, 9600, sends), expected) << fault;
}

}  // namespace
