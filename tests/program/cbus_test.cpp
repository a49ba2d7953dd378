#include <gmock/gmock.h>

#include "support/process.h"
#include "tools/rigsim/rig.h"
#include "tools/rigsim/testbed.h"

// The command cbus of the built program on the chips of the simulated adapters.

namespace
{

using namespace rigsim;

support::Ended run(const Testbed& testbed, const std::string& commands)
{
    std::vector<std::string> words = testbed.environment();
    words.insert(words.begin(), {"/usr/bin/env", "-i"});
    words.insert(words.end(),
                 {"/bin/sh", "-c", "LD_PRELOAD=" RIG_CLOCK ":$LD_PRELOAD exec \"$0\" \"$@\"",
                  RIGTOOL, "-t", "device=/dev/ttyUSB1", "-t", "commands=" + commands});
    return support::run(words);
}

TEST(CbusCommand, DrivesThePinsBesideTheSerialLine)
{
    Rig rig;
    const Testbed testbed(rig);
    EXPECT_EQ(run(testbed, "cbus(2,1);cbus(0,0);dxlgetbyte(1,3);cbus(2,0);cbus(1,1)").err,
              "ID 1 Addr: 3 value=1 0x01\n");
    const AdapterState state = rig.adapterState("servos");
    // CBUS bit mode, directions, levels: no pin is driven before it is asked for.
    EXPECT_EQ(state.bitModeRequests, (std::vector<uint16_t>{0x2044, 0x2054, 0x2050, 0x2072}));
    std::string pins;
    for (const CbusPin& pin : state.pins)
        pins += std::string(pin.isOutput ? "out" : "in") + (pin.level ? "1 " : "0 ");
    EXPECT_EQ(pins, "out0 out1 out0 in1 ") << "the pins hold beyond the program";
    EXPECT_EQ(state.driverDetaches + state.configurations + state.resets, 0);
    EXPECT_EQ(state.claims, state.releases);
    EXPECT_EQ(rig.adapterState("camera").requests, 0);
}

TEST(CbusCommand, LeavesTheChipAloneWhereItCannotDriveAPin)
{
    for (const char* fault : {"cbus.refuse", "cbus.other-chip", "cbus.no-permission",
                              "cbus.unplug-after=1", "servos.unplug=0"}) {
        Rig rig({Faults{fault}});
        const Testbed testbed(rig);
        const support::Ended ended = run(testbed, "cbus(1,1)");
        EXPECT_EQ(ended.status, 0) << fault;
        EXPECT_THAT(ended.err, testing::ContainsRegex("\\[[23]\\]")) << fault;
        for (const CbusPin& pin : rig.adapterState("servos").pins)
            EXPECT_FALSE(pin.isOutput) << fault;
    }
}

}  // namespace
