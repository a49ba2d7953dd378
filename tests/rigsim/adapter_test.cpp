#include <gmock/gmock.h>

#include "support/process.h"
#include "tools/rigsim/rig.h"
#include "tools/rigsim/testbed.h"

// The adapters' chips as a program meets them that uses libusb and libftdi.

namespace
{

using namespace rigsim;

/// What the probe prints that uses the adapter of the servos.
std::string probe(const Testbed& testbed, const std::vector<std::string>& steps)
{
    std::vector<std::string> command = testbed.environment();
    command.insert(command.begin(), {"/usr/bin/env", "-i"});
    command.insert(command.end(), {USB_PROBE, "5"});
    command.insert(command.end(), steps.begin(), steps.end());
    const support::Ended ended = support::run(command);
    EXPECT_EQ(ended.err, "");
    return ended.out;
}

TEST(Adapter, ServesItsPinsAndItsLineAtOnce)
{
    Rig rig;
    const Testbed testbed(rig);
    EXPECT_EQ(probe(testbed, {"word=a", "mode=2075", "pins", "image", "serial",
                              "say=/dev/ttyUSB1,57143,FF FF 01 02 01 FB", "pins"}),
              "word=a AAAA\n"
              "mode=2075 done\n"
              "pins 0D\n"
              "image done\n"
              "serial RIG00005\n"
              "say=/dev/ttyUSB1,57143,FF FF 01 02 01 FB FF FF 01 02 00 FC\n"
              "pins 0D\n");
    const AdapterState state = rig.adapterState("servos");
    std::string pins;  // direction and level
    for (const CbusPin& pin : state.pins)
        pins += std::string(pin.isOutput ? "out" : "in") + (pin.level ? "1 " : "0 ");
    EXPECT_EQ(pins, "out1 out0 out1 in1 ") << "the pins hold beyond the program";
    EXPECT_EQ(state.bitModeRequests, std::vector<uint16_t>{0x2075});
    EXPECT_EQ(state.claims + state.driverDetaches + state.configurations + state.resets, 0);
    EXPECT_EQ(rig.adapterState("camera").requests, 0);
    EXPECT_THAT(rig.stateJson(), testing::HasSubstr(R"("function": "I/O",
          "isOutput": true,
          "level": 0)"));
}

TEST(Adapter, BooksWhatAProgramAsksOfTheSystem)
{
    Rig rig;
    const Testbed testbed(rig);
    EXPECT_EQ(probe(testbed, {"mode=20F0", "take", "pins"}),
              "mode=20F0 done\ntake -6 0 0 0 0 0 0 0 0\npins FF\n");
    const AdapterState state = rig.adapterState("servos");
    EXPECT_EQ(state.claims, 2);
    EXPECT_EQ(state.releases, 1);
    EXPECT_EQ(state.driverDetaches, 1);
    EXPECT_EQ(state.configurations, 2);
    EXPECT_EQ(state.resets, 1);
    EXPECT_TRUE(state.hasDriver);
}

TEST(Adapter, ShowsItsFaults)
{
    const char* const noMode =
        "mode=20F0 unable to configure bitbang mode. Perhaps not a BM/2232C type chip?\n";
    const std::pair<const char*, std::string> cases[] = {
        {"cbus.not-io", "word=a AA2A\nmode=20F0 done\npins 02\n"},
        {"cbus.refuse", std::string("word=a AAAA\n") + noMode + "pins FF\n"},
        {"cbus.unplug-after=1", std::string("word=a AAAA\n") + noMode + "pins read pins failed\n"},
        {"servos.unplug=0",
         std::string("word=a reading eeprom failed\n") + noMode + "pins read pins failed\n"},
        {"cbus.no-permission", "open LIBUSB_ERROR_ACCESS\n"},
    };
    for (const auto& [fault, output] : cases) {
        Rig rig({Faults{fault}});
        const Testbed testbed(rig);
        EXPECT_EQ(probe(testbed, {"word=a", "mode=20F0", "pins"}), output) << fault;
        const bool isPulled = std::string(fault).find("unplug") != std::string::npos;
        EXPECT_EQ(rig.waitForServo(
                      1, [](const auto& servo) { return !servo.isPlugged; },
                      isPulled ? quill::seconds(5) : quill::Duration()),
                  isPulled)
            << fault;
    }
}

}  // namespace
