#include "devices/dynamixel/dxl_device.h"

#include <gmock/gmock.h>

#include <functional>
#include <tuple>
#include <utility>

#include "dynamixel/scripted_line.h"
#include "support/fake_clock.h"
#include "support/log_capture.h"

namespace
{

using quill::Duration;
using quill::microseconds;
using quill::milliseconds;
using quill::Time;
using support::Answer;
using support::Bytes;
using support::line;
using support::LogCapture;
using support::Piece;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Register 43 of ID 1: request and answer 0x20; the same for a word, 0x0120.
const Bytes kRequest = {0xFF, 0xFF, 1, 4, 2, 43, 1, 0xCC};
const Bytes kAnswer = {0xFF, 0xFF, 1, 3, 0, 0x20, 0xDB};
const Bytes kWordAnswer = {0xFF, 0xFF, 1, 4, 0, 0x20, 0x01, 0xD9};
const Bytes kStatus = {0xFF, 0xFF, 1, 2, 0, 0xFC};
const Bytes kAngleLimit = {0xFF, 0xFF, 1, 2, 2, 0xFA};
const Bytes kOtherServo = {0xFF, 0xFF, 2, 3, 0, 7, 0xF3};

const std::string kNoAnswer = "no answer at 1000000 bit/s (check power, ID and baud number)";
const std::string kDamaged =
    "a damaged answer at 1000000 bit/s (check the cable, the baud number, and whether two servos "
    "have this ID)";

/// Waiting for a word's answer at 1 Mbit/s: 16 bytes, return delay and margin.
constexpr Duration kTimeout = microseconds(160 + 508 + 4000);

Bytes behind(Bytes noise, const Bytes& packet)
{
    noise.insert(noise.end(), packet.begin(), packet.end());
    return noise;
}

Answer byteByByte(const Bytes& bytes)
{
    Answer pieces;
    for (const uint8_t byte : bytes) pieces.push_back({{byte}, microseconds(200)});
    return pieces;
}

class DxlDeviceTest : public testing::Test
{
  protected:
    void open(std::vector<Answer> script, Answer usual = {}, int baudNumber = 1,
              Duration adapterDelay = {})
    {
        line() = {std::move(script), std::move(usual), adapterDelay};
        ASSERT_NE(m_device.dxl_initialize("/dev/servos", baudNumber), 0);
        m_start = Time::now();
    }

    Duration elapsed() const { return Time::now() - m_start; }

    DxlDevice m_device;
    Time m_start;

    struct Case
    {
        const char* what;
        Answer said;
        int result;
        std::string logged = "";  // at level 3, without the device and `doing`
    };

    void check(const std::vector<Case>& cases, const std::string& doing,
               const std::function<int()>& operation)
    {
        for (const Case& c : cases) {
            SCOPED_TRACE(c.what);
            open({c.said}, {{kAnswer}});
            LogCapture log;
            EXPECT_EQ(operation(), c.result);
            std::vector<std::string> expected;
            if (!c.logged.empty())
                expected = {"3 dynamixel: /dev/servos: " + doing + ": " + c.logged};
            EXPECT_EQ(log.records(), expected);
            EXPECT_EQ(m_device.dxl_read_byte(1, 43), 0x20) << "the exchange after it";
        }
    }
};

TEST_F(DxlDeviceTest, TakesTheAnswerToItsRequestAndNothingElse)
{
    const std::vector<Case> cases = {
        {"answer", {{kAnswer}}, 0x20},
        {"byte by byte", byteByByte(kAnswer), 0x20},
        {"echo first", {{kRequest}, {kAnswer}}, 0x20},
        {"echo, noise and answer", {{behind(kRequest, {0, 0xFF})}, {kAnswer}}, 0x20},
        {"noise FF before the header", {{behind({0xFF}, kAnswer)}}, 0x20},
        {"noise like a header", {{behind({0xFF, 0xFF, 1, 5}, kAnswer)}}, 0x20},
        {"noise that claims 240 bytes", {{behind({0xFF, 0xFF, 1, 0xF0}, kAnswer)}}, 0x20},
        {"damaged one before", {{behind({0xFF, 0xFF, 1, 3, 0, 0x21, 0xDB}, kAnswer)}}, 0x20},
        {"another servo's before", {{kOtherServo}, {kAnswer}}, 0x20},
        {"a word before", {{kWordAnswer}, {kAnswer}}, 0x20},
        {"error bits beside the value",
         {{{0xFF, 0xFF, 1, 3, 0x24, 0x20, 0xB7}}},
         0x20,
         "the servo reports overheating, overload"},
        {"silence", {}, -1, kNoAnswer},
        {"echo only", {{kRequest}}, -1, kNoAnswer},
        {"noise only", {{{0xFF, 0x00}}}, -1, kNoAnswer},
        {"another servo's only", {{kOtherServo}}, -1, kNoAnswer},
        {"wrong length", {{kWordAnswer}}, -1, kDamaged},
        {"bad checksum", {{{0xFF, 0xFF, 1, 3, 0, 0x20, 0xDA}}}, -1, kDamaged},
        {"cut", {{{0xFF, 0xFF, 1, 3}}}, -1, kDamaged},
        {"refusal",
         {{{0xFF, 0xFF, 1, 2, 8, 0xF4}}},
         -1,
         "the servo refuses: range: a value the servo does not allow"},
    };
    check(cases, "read address 43 of ID 1", [this] { return m_device.dxl_read_byte(1, 43); });
}

TEST_F(DxlDeviceTest, TellsOfWritesWhatTheServoSaysOfThem)
{
    const std::vector<Case> cases = {
        {"taken", {{kStatus}}, 1},
        {"echo first", {{{0xFF, 0xFF, 1, 5, 3, 30, 0x88, 0x13, 0x3D}}, {kStatus}}, 1},
        {"status return level 0 or 1", {}, 1},
        {"not taken",
         {{kAngleLimit}},
         0,
         "the servo reports angle limit: the goal is outside the angle limits"},
        {"taken with an alarm", {{{0xFF, 0xFF, 1, 2, 32, 0xDC}}}, 1, "the servo reports overload"},
        {"damaged", {{{0xFF, 0xFF, 1, 2, 0, 0xFD}}}, 0, kDamaged},
    };
    check(cases, "write 5000 to address 30 of ID 1",
          [this] { return m_device.dxl_write_word(1, 30, 5000); });
}

TEST_F(DxlDeviceTest, WaitsForALateAnswerAndNoLonger)
{
    m_device.setSilenceExpected(true);
    const std::tuple<int, Duration, Duration> silences[] = {
        {1, {}, kTimeout},
        {1, milliseconds(1), kTimeout + milliseconds(1)},
        {249, {}, kTimeout + microseconds(20000 - 160)},  // 16 bytes at 8000 bit/s
    };
    for (const auto& [baudNumber, adapterDelay, timeout] : silences) {
        open({}, {}, baudNumber, adapterDelay);
        EXPECT_EQ(m_device.dxl_read_word(1, 36), -1);
        EXPECT_EQ(elapsed(), timeout);
    }
    const std::pair<Answer, int> answers[] = {
        {{{kWordAnswer, kTimeout}}, 0x0120},
        {{{kWordAnswer, kTimeout + microseconds(1)}}, -1},
        {{{{0xFF, 0xFF, 1, 4}, kTimeout}, {{0, 0x20, 0x01, 0xD9}, milliseconds(15)}}, 0x0120},
        {{{{0xFF, 0xFF, 1, 4}, kTimeout}, {{0, 0x20, 0x01, 0xD9}, milliseconds(25)}}, -1},
    };
    for (const auto& [said, value] : answers) {
        open({said});
        EXPECT_EQ(m_device.dxl_read_word(1, 36), value);
        EXPECT_LE(elapsed(), kTimeout + milliseconds(20));
    }
    // Noise without end is no answer.
    open({}, Answer(1000, {Bytes(3, 0x55), microseconds(10)}));
    EXPECT_EQ(m_device.dxl_read_word(1, 36), -1);
    EXPECT_LE(elapsed(), kTimeout + microseconds(10));
}

TEST_F(DxlDeviceTest, DoesNotTakeALateAnswerForTheNextOne)
{
    const Bytes old = {0xFF, 0xFF, 1, 3, 0, 5, 0xF6};
    m_device.setSilenceExpected(true);
    for (const Answer& next : {Answer{{old}, {kAnswer}}, Answer{{old}}, Answer{{kAnswer}}}) {
        open({{}, next}, {{kAnswer}});
        EXPECT_EQ(m_device.dxl_read_byte(1, 3), -1);
        EXPECT_EQ(m_device.dxl_read_byte(1, 43), 0x20);
        EXPECT_EQ(line().requests, 3u) << "it cannot know, and asks once more";
    }
    // Between two requests, however late.
    open({{{kAnswer}, {old, milliseconds(1)}}}, {{kAnswer}});
    EXPECT_EQ(m_device.dxl_read_byte(1, 43), 0x20);
    support::advanceClock(quill::seconds(1));
    EXPECT_EQ(m_device.dxl_read_byte(1, 43), 0x20);

    // The late echo of a request has the length of a word's answer.
    open({{{kRequest}, {kAnswer}}, {}, {{kRequest}, {kAnswer}}}, {{kWordAnswer}});
    EXPECT_EQ(m_device.dxl_read_byte(1, 43), 0x20);
    EXPECT_EQ(m_device.dxl_read_byte(1, 43), -1);
    EXPECT_EQ(m_device.dxl_read_word(1, 36), 0x0120);

    // Of another length it cannot be mistaken.
    open({{}, {{old}, {kWordAnswer}}});
    EXPECT_EQ(m_device.dxl_read_byte(1, 3), -1);
    EXPECT_EQ(m_device.dxl_read_word(1, 36), 0x0120);
    EXPECT_EQ(line().requests, 2u);

    // The refusal is the write's.
    open({{}, {{kAngleLimit}, {kAnswer}}});
    EXPECT_EQ(m_device.dxl_write_word(1, 30, 9999), 1);
    EXPECT_EQ(m_device.dxl_read_byte(1, 43), 0x20);

    // A write is not repeated: it waits until the status of the one before must have come.
    open({{{kAngleLimit, milliseconds(6)}}, {{kStatus}}});
    EXPECT_EQ(m_device.dxl_write_word(1, 30, 9999), 1);
    EXPECT_EQ(m_device.dxl_write_word(1, 30, 100), 1);
    EXPECT_EQ(line().requests, 2u);
}

TEST_F(DxlDeviceTest, LeavesTheLineTimeForABroadcast)
{
    m_device.setSilenceExpected(true);
    open({}, {}, 249);
    EXPECT_EQ(m_device.dxl_write_byte(254, 25, 1), 1);
    EXPECT_EQ(elapsed(), Duration()) << "nobody answers";
    EXPECT_EQ(m_device.dxl_read_word(1, 36), -1);
    EXPECT_EQ(elapsed(), milliseconds(10) + kTimeout + microseconds(20000 - 160));
}

TEST_F(DxlDeviceTest, SendsNothingThatDoesNotFitItsField)
{
    LogCapture log;
    EXPECT_EQ(m_device.dxl_read_byte(1, 43), -1) << "not open";
    open({}, {{kAnswer}});
    EXPECT_EQ(m_device.dxl_read_byte(254, 3), -1);
    EXPECT_EQ(m_device.dxl_read_word(1, 255), -1);
    EXPECT_EQ(m_device.dxl_write_byte(1, 3, 256), 0);
    EXPECT_EQ(m_device.dxl_write_word(1, 30, -1), 0);
    const std::string start = "3 dynamixel: /dev/servos: ";
    const std::string refusal = ": not sent, out of range (ID 0..";
    EXPECT_THAT(log.records(),
                ElementsAre("3 dynamixel: register access on a device that is not open",
                            start + "read address 3 of ID 254" + refusal + "253, address 0..255)",
                            start + "read address 255 of ID 1" + refusal + "253, address 0..254)",
                            start + "write 256 to address 3 of ID 1" + refusal +
                                "254, address 0..255, value 0..255)",
                            start + "write -1 to address 30 of ID 1" + refusal +
                                "254, address 0..254, value 0..65535)"));
    EXPECT_EQ(line().requests, 0u);
}

TEST_F(DxlDeviceTest, SaysWhyItDoesNotOpen)
{
    LogCapture log;
    EXPECT_EQ(m_device.dxl_initialize("/dev/servos", -1), 0);
    EXPECT_EQ(m_device.dxl_initialize("/dev/ttyMissing", 34), 0);
    EXPECT_EQ(line().bitRate, 57143);
    EXPECT_THAT(log.records(),
                ElementsAre("3 dynamixel: /dev/servos: set baud number -1: it gives no bit rate "
                            "(0..252, the value of the servo's register 4)",
                            HasSubstr("3 dynamixel: /dev/ttyMissing: open: No such file")));
}

TEST_F(DxlDeviceTest, ReportsAnUnpluggedAdapterOnceAndFailsAtOnceFromThen)
{
    open({{{{0xFF, 0xFF, 1}}, support::kUnplugged}});
    m_device.setSilenceExpected(true);
    LogCapture log;
    EXPECT_EQ(m_device.dxl_read_word(1, 36), -1);
    EXPECT_TRUE(m_device.isLineLost());
    EXPECT_EQ(m_device.dxl_read_byte(2, 46), -1);
    EXPECT_EQ(m_device.dxl_write_word(1, 30, 100), 0);
    EXPECT_EQ(elapsed(), milliseconds(2));
    EXPECT_THAT(log.records(),
                ElementsAre("3 dynamixel: /dev/servos: read address 36 of ID 1: Input/output error "
                            "(unplugged?)"));
}

TEST_F(DxlDeviceTest, TellsARepeatedFailureOnceAndAnExpectedOneAsADetail)
{
    const Answer overload = {{{0xFF, 0xFF, 1, 3, 0x20, 0x20, 0xBB}}};
    open({{}, {}, {}, overload, overload, overload, {{kAnswer}}});
    LogCapture poll;
    for (int i = 0; i < 8; ++i) (void)m_device.dxl_read_byte(1, 43);  // the 4th one asks twice
    EXPECT_THAT(poll.records(),
                ElementsAre(HasSubstr(kNoAnswer), HasSubstr("overload"), HasSubstr(kNoAnswer)));
    m_device.setSilenceExpected(true);
    LogCapture scan;
    EXPECT_EQ(m_device.dxl_read_byte(9, 3), -1);
    EXPECT_THAT(scan.records(), IsEmpty());
    EXPECT_FALSE(m_device.isLineLost());
    m_device.setSilenceExpected(false);
    LogCapture afterwards;
    EXPECT_EQ(m_device.dxl_read_byte(9, 3), -1);
    EXPECT_THAT(afterwards.records(), ElementsAre(HasSubstr(kNoAnswer)));
}

}  // namespace
