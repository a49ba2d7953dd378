#include <gmock/gmock.h>

#include "common/logging.h"
#include "common/properties.h"
#include "support/fake_clock.h"
#include "support/fake_dxl_device.h"
#include "support/log_capture.h"
#include "tools/orca/hardware_driver.h"

namespace
{

using support::fakeBus;
using testing::ElementsAre;
using Lines = std::vector<std::string>;

class ServoRegisters : public testing::Test
{
  protected:
    ServoRegisters()
    {
        quill::initializeStaticProperties();
        fakeBus = {};
        (void)support::takeSlept();
    }
    ~ServoRegisters() override { quill::setLogLevel(quill::kDefaultLogLevel); }

    /// @return what comes out on standard error
    Lines run(const std::string& commands)
    {
        support::LogCapture capture;
        EXPECT_EQ(HardwareDriver("/dev/servos").executeCommands(commands), 0);
        return capture.records();
    }
};

/// A servo with every register that the scan shows; all others are silent.
int answerOfServo(int wantedId, int baudNumber, int id, int address)
{
    if (id != wantedId) return -1;
    switch (address) {
        case 0: return 0x1d;
        case 2: return 0x24;
        case 3: return wantedId;
        case 4: return baudNumber;
        case 6: return 10;
        case 8: return 4000;
        case 11: return 80;
        case 12: return 60;
        case 13: return 140;
        case 14: return 1023;
        case 36: return 512;
        default: return -1;
    }
}

TEST_F(ServoRegisters, AreReadAndPrinted)
{
    fakeBus.read = [](int, int address) { return address == 36 ? 512 : 1; };
    EXPECT_THAT(run("dxlgetword(1,36);dxlgetbyte(1,3)"),
                ElementsAre("ID 1 Addr: 36 value=512 0x0200", "ID 1 Addr: 3 value=1 0x01"));
    EXPECT_THAT(fakeBus.calls, ElementsAre("open /dev/servos 34", "readword 1 36", "close",
                                           "open /dev/servos 34", "read 1 3", "close"));
    EXPECT_EQ(fakeBus.unreportedSilences, 0);

    fakeBus.read = [](int, int) { return -1; };
    EXPECT_THAT(run("dxlgetbyte(7,3)"), ElementsAre("ID 7 Addr: 3 value=-1 0xffffffff"));
}

TEST_F(ServoRegisters, AreWrittenUnchanged)
{
    EXPECT_THAT(run("dxlsetbyte(1,25,-1);dxlsetword(2,30,70000);dxlsetpos(2,300)"), ElementsAre());
    EXPECT_THAT(fakeBus.calls, ElementsAre("open /dev/servos 34", "write 1 25 -1", "close",
                                           "open /dev/servos 34", "writeword 2 30 70000", "close",
                                           "open /dev/servos 34", "writeword 2 30 300", "close"));
}

TEST_F(ServoRegisters, BusThatCannotBeOpenedIsReportedOnceByEachCommand)
{
    fakeBus.opens = false;
    const Lines lines =
        run("dxlgetbyte(1,3);dxlgetword(1,3);dxlsetbyte(1,3,1);dxlsetword(1,3,1);"
            "dxlsetpos(1,1);dxldump(3,2);dynamixel(1,2)");
    EXPECT_EQ(lines, Lines(7, "2 visca_control: Failed to open USB2Dynamixel at /dev/servos"));
    EXPECT_EQ(fakeBus.calls.size(), 7u);
}

TEST_F(ServoRegisters, ScanListsAServoWhereItsOwnRegistersSaySo)
{
    fakeBus.read = [](int id, int address) { return answerOfServo(1, 2, id, address); };
    EXPECT_THAT(run("dxldump(3,1)"),
                ElementsAre("Device ID 1, baudnum=2", "  Model 001d firmware 24", "  CW limit 10",
                            "  CCW limit 4000", "  High temp 80", "  V range 6.0V-14.0V",
                            "  Max torque 1023", "  Current position 512"));
    EXPECT_EQ(fakeBus.calls, (Lines{"open /dev/servos 1", "read 0 3",      "read 0 4",
                                    "read 1 3",           "read 1 4",      "close",
                                    "open /dev/servos 2", "read 0 3",      "read 0 4",
                                    "read 1 3",           "read 1 4",      "read 1 2",
                                    "readword 1 0",       "readword 1 6",  "readword 1 8",
                                    "read 1 11",          "read 1 13",     "read 1 12",
                                    "readword 1 14",      "readword 1 36", "close",
                                    "open /dev/servos 3", "read 0 3",      "read 0 4",
                                    "read 1 3",           "read 1 4",      "close"}));
    EXPECT_EQ(fakeBus.unreportedSilences, 12) << "only the probing expects silence";

    EXPECT_THAT(run("dxldump(1,2)"), ElementsAre()) << "answers at a neighbouring rate";
    fakeBus.read = [](int id, int address) { return answerOfServo(1, 2, 1, address) + (id == 0); };
    EXPECT_EQ(run("dxldump(2,0)"), Lines()) << "answers with another ID";
}

TEST_F(ServoRegisters, ScanOfNothingDoesNothing)
{
    EXPECT_EQ(run("dxldump(0,5);dxldump(-3,5)"), Lines());
    EXPECT_EQ(fakeBus.calls, Lines());
    run("dxldump(2,-1)");
    EXPECT_THAT(fakeBus.calls,
                ElementsAre("open /dev/servos 1", "close", "open /dev/servos 2", "close"));
}

TEST_F(ServoRegisters, ScanEndsAtTheLastIdThereIsAndSaysSo)
{
    EXPECT_THAT(run("dxldump(1,2147483647)"),
                ElementsAre("3 visca_control: No servo has an ID above 253: the scan ends there."));
    EXPECT_EQ(fakeBus.calls.size(), 2u + 2 * 254);
}

TEST_F(ServoRegisters, ScanIsTracedAtLevelFive)
{
    quill::setLogLevel(5);
    fakeBus.read = [](int id, int address) { return answerOfServo(1, 9, id, address); };
    EXPECT_THAT(run("dxldump(1,1)"),
                ElementsAre("5 visca_control: baudnum=1", "5 visca_control: id=0",
                            "5 visca_control: rid=-1 rbaud=-1", "5 visca_control: id=1",
                            "5 visca_control: rid=1 rbaud=9"));
}

TEST_F(ServoRegisters, ScanEndsWhenTheAdapterIsGone)
{
    fakeBus.isLineLost = [] { return fakeBus.calls.size() > 10; };
    EXPECT_THAT(run("dxldump(34,252)"),
                ElementsAre("2 visca_control: Lost the servo bus at /dev/servos: the scan ends."));
    EXPECT_LT(fakeBus.calls.size(), 14u);
    EXPECT_EQ(fakeBus.calls.back(), "close");
}

// The positioning works on the same registers.

TEST_F(ServoRegisters, PositioningPollsUntilNeitherServoMoves)
{
    int polls = 0;
    fakeBus.read = [&](int id, int address) {
        if (address == 36) return 100 * id + (id == 1 ? ++polls : polls);
        return polls < (id == 1 ? 2 : 3) ? 1 : 0;
    };
    EXPECT_THAT(run("dynamixel(512,600)"),
                ElementsAre("4 visca_control: dxl at 101,201", "4 visca_control: dxl at 102,202",
                            "4 visca_control: dxl at 103,203"));
    const Lines poll = {"readword 1 36", "readword 2 36", "read 1 46", "read 2 46"};
    Lines expected = {"open /dev/servos 34", "writeword 1 30 512", "writeword 2 30 600"};
    for (int i = 0; i < 3; ++i) expected.insert(expected.end(), poll.begin(), poll.end());
    expected.push_back("close");
    EXPECT_EQ(fakeBus.calls, expected);
    EXPECT_EQ(support::takeSlept(), quill::Duration()) << "polls back to back";
}

TEST_F(ServoRegisters, PositioningEndsWithItsReasonWhenTheServosDoNotStop)
{
    // Every read takes 10 ms.
    const auto slow = [](std::function<int(int, int)> read) {
        return [read](int id, int address) {
            support::advanceClock(quill::milliseconds(10));
            return read(id, address);
        };
    };
    const struct
    {
        const char* reason;
        std::function<int(int, int)> read;
        bool lost;
        size_t polls;
    } cases[] = {
        {"servo ID 1 (pan) does not answer", [](int, int) { return -1; }, false, 75},
        {"servo ID 2 (tilt) does not answer", [](int id, int) { return id == 2 ? -1 : 0; }, false,
         75},
        {"the servo bus is lost", [](int, int) { return -1; }, true, 1},
        {"the servos say that they move, but have stood still for 10 s",
         [](int, int address) { return address == 46 ? 1 : 7; }, false, 251},
    };
    for (const auto& c : cases) {
        fakeBus = {};
        fakeBus.read = slow(c.read);
        fakeBus.isLineLost = [&] { return c.lost; };
        const Lines lines = run("dynamixel(512,600)");
        EXPECT_EQ(lines.back(),
                  std::string("2 visca_control: Not waiting for the servos any longer: ") +
                      c.reason + ".");
        EXPECT_EQ(lines.size() - 1, c.polls) << c.reason;
    }
}

}  // namespace
