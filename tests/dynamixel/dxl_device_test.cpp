#include "devices/dynamixel/dxl_device.h"

#include <gmock/gmock.h>

#include <csignal>
#include <tuple>

#include "common/interrupt.h"
#include "common/logging.h"
#include "support/fake_clock.h"
#include "support/log_capture.h"
#include "support/scripted_line.h"

namespace
{

using quill::Duration;
using quill::microseconds;
using quill::milliseconds;
using support::Answer;
using support::Bytes;
using support::line;
using support::LogCapture;
using testing::AllOf;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

// Register 43 of ID 1: request and answer 0x20; the same for a word, 0x0120.
const Bytes kRequest = {0xFF, 0xFF, 1, 4, 2, 43, 1, 0xCC};
const Bytes kAnswer = {0xFF, 0xFF, 1, 3, 0, 0x20, 0xDB};
const Bytes kWordAnswer = {0xFF, 0xFF, 1, 4, 0, 0x20, 0x01, 0xD9};
const Bytes kStatus = {0xFF, 0xFF, 1, 2, 0, 0xFC};
const Bytes kAngleLimit = {0xFF, 0xFF, 1, 2, 2, 0xFA};
const Bytes kOtherServo = {0xFF, 0xFF, 2, 3, 0, 7, 0xF3};

/// Return delay and margin; with them all of the wait for a word at 1 Mbit/s, through an adapter
/// whose latency timer is 1 ms longer than the lowest.
constexpr Duration kAllowance = microseconds(508 + 3700);
constexpr Duration kTimeout = microseconds(160 + 1000) + kAllowance;

Bytes twice(Bytes bytes)
{
    bytes.insert(bytes.end(), bytes.begin(), bytes.end());
    return bytes;
}

class DxlDeviceTest : public testing::Test
{
  protected:
    void open(std::vector<Answer> script, Answer usual = {}, int baudNumber = 1,
              Duration adapterDelay = {})
    {
        support::advanceClock(quill::seconds(1));  // whatever the line before owed
        line() = {{{{kAnswer}}}, {}, adapterDelay};
        ASSERT_NE(m_device.dxl_initialize("/dev/servos", baudNumber), 0);
        ASSERT_EQ(readByte(), 0x20) << "from now on it is known that one servo has ID 1";
        line().script = std::move(script);
        line().usual = std::move(usual);
        line().requests = 0;
        m_start = quill::Time::now();
    }

    Duration elapsed() const { return quill::Time::now() - m_start; }
    int readByte() { return m_device.dxl_read_byte(1, 43); }
    int readWord() { return m_device.dxl_read_word(1, 36); }
    int writeWord() { return m_device.dxl_write_word(1, 30, 5000); }

    DxlDevice m_device;
    quill::Time m_start;
};

TEST_F(DxlDeviceTest, TakesTheAnswerToItsRequestAndNothingElse)
{
    // Read a byte or write a goal, what the line says, the result and what is logged of it.
    const std::tuple<char, const char*, Answer, int, std::string> cases[] = {
        {'b', "echo, noise and answer", {{kRequest}, {{0, 0xFF}}, {kAnswer}}, 0x20, ""},
        {'b', "noise that claims 240 bytes", {{{0xFF, 0xFF, 1, 0xF0}}, {kAnswer}}, 0x20, ""},
        {'b', "damaged one before", {{{0xFF, 0xFF, 1, 3, 0, 0x21, 0xDB}}, {kAnswer}}, 0x20, ""},
        {'b', "another servo's before", {{kOtherServo}, {kAnswer}}, 0x20, ""},
        {'b', "a word before", {{kWordAnswer}, {kAnswer}}, -1, "two servos have ID 1"},
        {'b', "one more with it", {{twice(kAnswer)}}, -1, "two servos have ID 1"},
        {'b', "alarm beside the value", {{{0xFF, 0xFF, 1, 3, 0x20, 0x20, 0xBB}}}, 0x20, "overload"},
        {'b', "echo only", {{kRequest}}, -1, "no answer at 1000000 bit/s"},
        {'b', "noise only", {{{0xFF, 0x00}}}, -1, "no answer"},
        {'b', "another servo's only", {{kOtherServo}}, -1, "no answer"},
        {'b', "wrong length", {{kWordAnswer}}, -1, "a damaged answer"},
        {'b', "cut", {{{0xFF, 0xFF, 1, 3}}}, -1, "a damaged answer"},
        {'b', "refusal", {{{0xFF, 0xFF, 1, 2, 8, 0xF4}}}, -1, "the servo refuses: range"},
        {'g', "echo first", {{{0xFF, 0xFF, 1, 5, 3, 30, 0x88, 0x13, 0x3D}}, {kStatus}}, 1, ""},
        {'g',
         "nobody there",
         {},
         0,
         "no servo with ID 1 answers at 1000000 bit/s: not written, or not known"},
        {'g', "not taken", {{kAngleLimit}}, 0, "the goal is outside the angle limits"},
        {'g', "taken with an alarm", {{{0xFF, 0xFF, 1, 2, 32, 0xDC}}}, 1, "overload"},
    };
    for (const auto& [step, what, said, result, logged] : cases) {
        SCOPED_TRACE(what);
        open({}, said);
        LogCapture log;
        EXPECT_EQ(step == 'b' ? readByte() : writeWord(), result);
        const std::string text = log.text();
        EXPECT_THAT(text, HasSubstr(logged));
        EXPECT_EQ(text.empty(), logged.empty()) << text;
        line().usual = {{kAnswer}};
        EXPECT_EQ(readByte(), 0x20) << "the exchange after it";
    }
}

TEST_F(DxlDeviceTest, WaitsForALateAnswerAndNoLonger)
{
    const Bytes begun = {0xFF, 0xFF, 1, 4};
    const Bytes rest = {0, 0x20, 0x01, 0xD9};
    const std::tuple<Answer, int, Duration> cases[] = {
        {{{kWordAnswer, kTimeout}}, 0x0120, kTimeout},
        {{{kWordAnswer, kTimeout + microseconds(1)}}, -1, kTimeout},
        {{{begun, kTimeout}, {rest, milliseconds(15)}}, 0x0120, kTimeout + milliseconds(15)},
        {{{begun, kTimeout}, {rest, milliseconds(25)}}, -1, kTimeout * 3 + milliseconds(21)},
        {Answer(1000, {Bytes(3, 0x55), microseconds(10)}), -1, kTimeout * 3},  // noise
    };
    m_device.setSilenceExpected(true);
    for (const auto& [said, value, until] : cases) {
        open({said}, {}, 1, milliseconds(2));
        EXPECT_EQ(readWord(), value);
        EXPECT_NEAR(elapsed().seconds(), until.seconds(), 10e-6);
    }
    open({}, {}, 249);  // where 16 bytes take 20 ms
    EXPECT_EQ(m_device.dxl_write_byte(254, 25, 1), 1);
    EXPECT_EQ(elapsed(), Duration()) << "nobody answers a broadcast";
    EXPECT_EQ(readWord(), -1);
    EXPECT_EQ(elapsed(), milliseconds(10 + 20) + kAllowance) << "the broadcast leaves first";
}

TEST_F(DxlDeviceTest, CountsTheServosTimeFromTheEndOfTheRequest)
{
    open({{{kAnswer}}});
    line().writeTakes = milliseconds(20);
    EXPECT_EQ(readByte(), 0x20) << "a machine that is busy sending is not a late servo";
}

TEST_F(DxlDeviceTest, DoesNotTakeALateAnswerForTheNextOne)
{
    const Bytes old = {0xFF, 0xFF, 1, 3, 0, 5, 0xF6};
    const Answer echoed = {{kRequest}, {kAnswer}};
    const Answer lateRefusal = {{kAngleLimit, milliseconds(6)}};
    // Steps: read a byte or a Word, write a goal, let a second pass, open the line anew.
    const std::tuple<std::vector<Answer>, Answer, std::string, std::vector<int>, size_t> cases[] = {
        {{{}, {{old}, {kAnswer}}}, {{kAnswer}}, "bb", {-1, 0x20}, 3},  // asks again to be sure
        {{{{kAnswer}, {old}}}, {{kAnswer}}, "b1b", {0x20, 0x20}, 2},
        {{echoed, {}, echoed}, {{kWordAnswer}}, "bbW", {0x20, -1, 0x0120}, 4},  // late echo
        {{{}, {{old}, {kWordAnswer}}}, {}, "bW", {-1, 0x0120}, 2},
        {{{}, {{kStatus}}, {{kAngleLimit}, {kAnswer}}}, {}, "gb", {1, 0x20}, 3},  // the write's
        {{lateRefusal, {}}, {{kStatus}}, "gg", {0, 1}, 3},  // waits, and does not repeat
        {{{}, {{old}, {kAnswer}}}, {{kAnswer}}, "bob", {-1, 0x20}, 3},
    };
    m_device.setSilenceExpected(true);
    for (const auto& [script, usual, steps, expected, requests] : cases) {
        open(script, usual);
        std::vector<int> results;
        for (const char step : steps) {
            if (step == '1') support::advanceClock(quill::seconds(1));
            if (step == 'o') m_device.dxl_initialize("/dev/servos", 1);
            if (step == 'b') results.push_back(readByte());
            if (step == 'W') results.push_back(readWord());
            if (step == 'g') results.push_back(writeWord());
        }
        EXPECT_EQ(results, expected) << steps;
        EXPECT_EQ(line().requests, requests) << steps;
    }
}

TEST_F(DxlDeviceTest, AsksWhetherThereIsAServoThatAWriteHasReached)
{
    const Bytes ping = {0xFF, 0xFF, 1, 2, 1, 0xFB};
    const std::tuple<const char*, std::vector<Answer>, int, size_t> cases[] = {
        {"status return level 0 or 1", {{}, {{kStatus}}}, 1, 2},
        {"an answer to the ping is lost", {{}, {}, {{kStatus}}}, 1, 3},
        {"the write is refused late", {{}, {{kAngleLimit}}}, 0, 2},
        {"nobody", {}, 0, 4},
    };
    for (const auto& [what, script, result, requests] : cases) {
        open(script);
        line().sent.clear();
        LogCapture log;
        EXPECT_EQ(writeWord(), result) << what;
        EXPECT_EQ(line().requests, requests) << what;
        EXPECT_EQ(line().sent.back(), ping) << what;
        EXPECT_EQ(log.text().empty(), result == 1) << what;
    }
}

TEST_F(DxlDeviceTest, RepeatsAReadThatIsNotAnsweredAndTellsHowOftenWhenItCloses)
{
    quill::setLogLevel(quill::kTrace);
    const Bytes damaged = {0xFF, 0xFF, 1, 3, 0, 0x21, 0xDB};
    for (const int lost : {2, 3}) {
        std::vector<Answer> script;
        for (int i = 0; i < lost; ++i)
            script.insert(script.end(), {i % 2 == 0 ? Answer() : Answer{{damaged}}, {{kAnswer}}});
        open(script, {{kAnswer}});
        LogCapture log;
        for (int i = 0; i < 199 - lost; ++i) {
            EXPECT_EQ(readByte(), 0x20);
            support::advanceClock(milliseconds(200));
        }
        open({});
        std::vector<testing::Matcher<std::string>> expected(
            static_cast<size_t>(lost),
            AllOf(StartsWith("5 dynamixel: /dev/servos: read address 43 of ID 1: "),
                  EndsWith("; it is asked again")));
        if (lost * 100 > 200)
            expected.emplace_back(
                "3 dynamixel: /dev/servos: 3 of 200 answers were lost or "
                "damaged: check cable and power");
        EXPECT_THAT(log.records(), ElementsAreArray(expected));
    }
    quill::setLogLevel(quill::kDefaultLogLevel);
}

TEST_F(DxlDeviceTest, FindsOutThatTwoServosHaveOneId)
{
    const Bytes other = {0xFF, 0xFF, 1, 3, 0, 5, 0xF6};
    const Answer both = {{kAnswer}, {other, microseconds(1000)}};
    const Bytes damaged = {0xFF, 0xFF, 1, 3, 0, 0x21, 0xDB};
    // At the first read on a line, and where something stray was seen; else nobody waits for it.
    const std::tuple<const char*, std::vector<Answer>, std::vector<int>, size_t> cases[] = {
        {"new", {both, {{kAnswer}}}, {-1, 0x20}, 2},
        {"new, collision first", {{{damaged}}, both, both, both}, {-1, -1}, 4},
        {"known alone", {{{kAnswer}}, both, both}, {0x20, 0x20, -1}, 3},
        {"new, late one beside its own", {{}, both, {{kAnswer}}}, {0x20}, 3},
    };
    for (const auto& [what, script, values, requests] : cases) {
        line() = {script};
        const std::string path = std::string("/dev/") + what;
        ASSERT_NE(m_device.dxl_initialize(path, 1), 0);
        LogCapture log;
        for (const int value : values) {
            EXPECT_EQ(readByte(), value) << what;
            support::advanceClock(quill::seconds(1));
        }
        EXPECT_EQ(line().requests, requests) << what;
        const bool isTold = log.text().find("[3] dynamixel: " + path) != std::string::npos;
        EXPECT_EQ(isTold, values.back() < 0 || values.front() < 0) << what;
    }
}

TEST_F(DxlDeviceTest, SendsNothingWhenNotOpenOrOutOfRange)
{
    LogCapture log;
    EXPECT_EQ(m_device.dxl_initialize("/dev/servos", -1), 0);
    EXPECT_EQ(readByte(), -1);
    open({}, {{kAnswer}});
    EXPECT_EQ(m_device.dxl_read_word(1, 255), -1);
    EXPECT_EQ(m_device.dxl_write_byte(1, 3, 256), 0);
    EXPECT_EQ(line().requests, 0u);
    EXPECT_EQ(log.records().size(), 4u);
}

TEST_F(DxlDeviceTest, ReportsAnUnpluggedAdapterOnceAndFailsAtOnceFromThen)
{
    open({{{{0xFF, 0xFF, 1}}, support::kUnplugged}});
    m_device.setSilenceExpected(true);
    LogCapture log;
    EXPECT_EQ(readWord(), -1);
    EXPECT_TRUE(m_device.isLineLost());
    EXPECT_EQ(writeWord(), 0);
    EXPECT_EQ(elapsed(), milliseconds(2));
    EXPECT_THAT(log.records(),
                ElementsAre("3 dynamixel: /dev/servos: read address 36 of ID 1: Input/output error "
                            "(unplugged?)"));
}

TEST_F(DxlDeviceTest, TellsARepeatedFailureOnceInTenSecondsAndAnExpectedOneAsADetail)
{
    const Answer overload = {{{0xFF, 0xFF, 1, 3, 0x20, 0x20, 0xBB}}};
    std::vector<Answer> script(9);  // three reads, each repeated twice
    script.insert(script.end(),
                  {overload, overload, overload, {{kAnswer}}, {}, {}, {}, {{kAnswer}}});
    open(script);
    LogCapture log;
    for (int i = 0; i < 7; ++i) (void)readByte();  // the 4th one asks twice
    support::advanceClock(quill::seconds(10));
    for (int i = 0; i < 2; ++i) (void)readByte();
    for (const bool expected : {true, false}) {
        m_device.setSilenceExpected(expected);
        EXPECT_EQ(m_device.dxl_read_byte(9, 3), -1);
    }
    EXPECT_THAT(log.records(),
                ElementsAre(HasSubstr("ID 1: no answer"), HasSubstr("overload"),
                            HasSubstr("ID 1: no answer"), HasSubstr("ID 9: no answer")));
    EXPECT_FALSE(m_device.isLineLost());
}

TEST_F(DxlDeviceTest, AnInterruptEndsTheRunBetweenExchangesOnly)
{
    const auto run = [this] {
        quill::watchInterrupts();
        line().onRequest = [] {
            std::raise(SIGINT);
            std::fputs(quill::interruptDescriptor() < 0 ? "not cut " : "cut ", stderr);
        };
        std::fprintf(stderr, "%d", readByte());
        readByte();
    };
    open({}, {{kAnswer}});
    EXPECT_EXIT(run(), testing::KilledBySignal(SIGINT), "^not cut 32$");
}

}  // namespace
