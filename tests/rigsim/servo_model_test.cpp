#include <gmock/gmock.h>

#include <array>
#include <cstdlib>

#include "model_talk.h"
#include "tools/rigsim/servo_bus_model.h"

namespace
{

using namespace rigsim;
using namespace model_talk;
using quill::microseconds;
using quill::milliseconds;
using testing::ElementsAreArray;
namespace dxl = quill::dynamixel;

const std::string kPing = "FF FF 01 02 01 FB";
const std::string kReadTemperature = "FF FF 01 04 02 2B 01 CC";

/// Friction and return delay are none unless a test is about them.
ServoSetup plainServo(uint8_t id)
{
    ServoSetup setup;
    setup.id = id;
    setup.returnDelay = 0;
    setup.friction = 0;
    return setup;
}

TEST(ServoBusModel, AnswersAtThePaceOfTheLine)
{
    ServoSetup prompt = plainServo(5);
    std::vector<ServoSetup> servos = defaultServos();
    servos.push_back(prompt);
    const struct
    {
        const char* what;
        unsigned bitRate;
        std::vector<Send> sends;  // at us
        Lines answers;
    } cases[] = {
        {"ping: 12 bytes and 500 us", 57143, {{0, kPing}}, {"2599: FF FF 01 02 00 FC"}},
        {"read", 57143, {{0, kReadTemperature}}, {"3124: FF FF 01 03 00 23 D8"}},
        {"no return delay", 57143, {{0, "FF FF 05 02 01 F7"}}, {"2099: FF FF 05 02 00 F8"}},
        {"2.9 % too fast", 58824, {{0, kPing}}, {"2539: FF FF 01 02 00 FC"}},
        {"2.8 % too slow", 55556, {{0, kPing}}, {"2659: FF FF 01 02 00 FC"}},
        {"3.1 % too slow", 55370, {{0, kPing}}, {}},
        {"other bit rate", 117647, {{0, kPing}}, {}},
        {"its own bit rate", 117647, {{0, "FF FF 07 02 01 F5"}}, {"1520: FF FF 07 02 00 F6"}},
        {"no bit rate", 0, {{0, kPing}}, {}},
        {"two requests in one write take turns",
         57143,
         {{0, "FF FF 05 02 01 F7 " + kPing}},
         {"2099: FF FF 05 02 00 F8", "3649: FF FF 01 02 00 FC"}},
        {"a request in two writes",
         57143,
         {{0, "FF FF 01"}, {50000, "02 01 FB"}},
         {"52074: FF FF 01 02 00 FC"}},
        {"the rest of a request never came",
         57143,
         {{0, "FF FF 01 02"}, {200000, kPing}},
         {"202599: FF FF 01 02 00 FC"}},
        {"noise before the header", 57143, {{0, "FF 00 FF " + kPing}}, {"3124: FF FF 01 02 00 FC"}},
        {"damaged", 57143, {{0, "FF FF 01 02 01 FC"}}, {"2599: FF FF 01 02 10 EC"}},
        {"of a servo that is not there", 57143, {{0, "FF FF 03 02 01 F9"}}, {}},
        {"broadcast", 57143, {{0, "FF FF FE 02 01 FE"}}, {}},
    };
    for (const auto& c : cases) {
        ServoBusModel bus(servos);
        EXPECT_THAT((Talk{c.bitRate, microseconds(1)}(&bus, c.sends, 1000000)),
                    ElementsAreArray(c.answers))
            << c.what;
    }
}

/// A request at a time in ms, "ID instruction parameters", and the answer, "ID error parameters" or
/// nothing; what is no status packet stands there as it came.
struct Step
{
    int64_t atMs;
    std::string request;
    std::string answer;
};

Bytes framed(const std::string& hex)
{
    Bytes packet = bytes(hex);
    packet.insert(packet.begin() + 1, static_cast<uint8_t>(packet.size()));
    unsigned sum = 0;
    for (const uint8_t byte : packet) sum += byte;
    packet.push_back(static_cast<uint8_t>(~sum & 0xFF));
    packet.insert(packet.begin(), {0xFF, 0xFF});
    return packet;
}

/// At 57143 bit/s: the servo has a request of 8 bytes after 1.4 ms.
std::string ask(ServoBusModel* bus, const Step& step)
{
    const Time start = Time() + milliseconds(step.atMs);
    bus->takeOutput(start);
    bus->receive(framed(step.request), 57143, start);
    Bytes all;
    for (const Output& output : bus->takeOutput(start + milliseconds(20)))
        all.insert(all.end(), output.bytes.begin(), output.bytes.end());
    dxl::StatusPacket status;
    if (dxl::parse(all, &status) != dxl::ParseResult::Complete)
        return fmt::format("{:02X}", fmt::join(all, " "));
    std::string text = fmt::format("{:02X} {:02X}", status.id, status.error);
    for (const uint8_t byte : status.parameters) text += fmt::format(" {:02X}", byte);
    return text;
}

struct Case
{
    const char* what;
    std::initializer_list<const char*> faults;
    std::vector<Step> steps;
};

void check(const std::vector<Case>& cases)
{
    for (const Case& c : cases) {
        ServoBusModel bus({plainServo(1), plainServo(2)}, Faults(c.faults));
        for (const Step& step : c.steps)
            EXPECT_EQ(ask(&bus, step), step.answer) << c.what << ": " << step.request;
    }
}

TEST(ServoBusModel, KeepsAControlTable)
{
    check({
        {"factory values, EEPROM",
         {},
         {{0, "01 02 00 13", "01 00 1D 00 24 01 22 00 00 00 FF 0F 00 50 3C A0 FF 03 02 24 24"}}},
        {"RAM up to present position",
         {},
         {{0, "01 02 18 0E", "01 00 00 00 00 00 20 00 00 08 00 00 FF 03 00 08"}}},
        {"voltage and temperature", {}, {{0, "01 02 2A 02", "01 00 78 23"}}},
        {"to the end and beyond",
         {},
         {{0, "01 02 48 02", "01 00 00 00"},
          {50, "01 02 49 02", "01 08"},
          {100, "01 02 FF FF", "01 08"},
          {150, "01 02 00 00", "01 08"}}},
        {"bytes and words",
         {},
         {{0, "01 03 19 01", "01 00"},
          {50, "01 03 20 64 00", "01 00"},
          {100, "01 02 19 01", "01 00 01"},
          {150, "01 02 20 02", "01 00 64 00"}}},
        {"read-only, reserved, out of range, too long: nothing is taken",
         {},
         {{0, "01 03 00 1D 00", "01 08"},
          {50, "01 03 24 00 08", "01 08"},
          {100, "01 03 0A 00", "01 08"},
          {150, "01 03 19 02", "01 08"},
          {200, "01 03 20 00 04", "01 08"},
          {250, "01 03 10 03", "01 08"},
          {300, "01 03 49 00 00", "01 08"},
          {350, "01 03 19 01 00 FF", "01 08"},
          {400, "01 02 18 04", "01 00 00 00 00 00"}}},
        {"locked EEPROM",
         {},
         {{0, "01 03 2F 01", "01 00"},
          {50, "01 03 0B 46", "01 08"},
          {100, "01 03 19 01", "01 00"}}},
        {"registered write and action",
         {},
         {{0, "01 04 19 01", "01 00"},
          {50, "01 02 2C 01", "01 00 01"},
          {100, "01 02 19 01", "01 00 00"},
          {150, "FE 05", ""},
          {200, "01 02 19 01", "01 00 01"},
          {250, "01 02 2C 01", "01 00 00"},
          {300, "01 05", "01 40"},
          {350, "01 04 19 02", "01 08"}}},
        {"synchronous write, each its own",
         {},
         {{0, "FE 83 19 01 02 01 01 00 09 01", ""},
          {50, "01 02 19 01", "01 00 00"},
          {100, "02 02 19 01", "02 00 01"},
          {150, "FE 83 19 01 01", ""}}},
        {"unknown and incomplete instructions",
         {},
         {{0, "01 07", "01 40"}, {50, "01 02 00", "01 40"}, {100, "01 03 19", "01 40"}}},
    });
}

TEST(ServoBusModel, ChangesIdAndBitRateAfterTheAnswer)
{
    check({
        {"ID",
         {},
         {{0, "01 03 03 05", "01 00"}, {50, "01 01", ""}, {100, "05 02 03 01", "05 00 05"}}},
        {"ID of all", {}, {{0, "FE 03 03 01", ""}, {50, "02 01", ""}}},
        {"bit rate", {}, {{0, "01 03 04 10", "01 00"}, {50, "01 01", ""}}},
        {"factory reset",
         {},
         {{0, "01 03 0B 46", "01 00"},
          {50, "01 03 03 05", "01 00"},
          {100, "05 06", "05 00"},
          {150, "01 02 03 09", "01 00 01 22 FA 00 00 FF 0F 00 50"}}},
    });
}

TEST(ServoBusModel, AnswersAsItsStatusReturnLevelSays)
{
    const struct
    {
        const char* level;
        std::array<const char*, 5> answers;
    } cases[] = {
        {"servos.status-level=0", {"01 00", "", "", "", ""}},
        {"servos.status-level=1", {"01 00", "01 00 00", "", "", ""}},
        {"servos.status-level=2", {"01 00", "01 00 00", "01 00", "01 02", "01 40"}},
    };
    for (const auto& c : cases) {
        ServoBusModel bus({plainServo(1)}, Faults{c.level});
        const std::string requests[] = {"01 01", "01 02 19 01", "01 03 19 01", "01 03 1E 00 10",
                                        "01 07"};
        for (size_t i = 0; i < c.answers.size(); ++i)
            EXPECT_EQ(ask(&bus, {static_cast<int64_t>(i) * 50, requests[i], ""}), c.answers[i])
                << c.level << ": " << requests[i];
        const ServoState state = bus.states(Time() + milliseconds(250))[0];
        EXPECT_EQ(state.writes, 1) << "silent, yet it works";
        EXPECT_EQ(state.reads, 1);
        EXPECT_EQ(state.errors, 2);
    }
}

// 3754.7 units a second at full speed: 952 units take 253.55 ms.
TEST(ServoBusModel, MovesToItsGoalAtItsSpeed)
{
    check({
        {"under way and there",
         {},
         {{0, "01 03 1E B8 0B", "01 00"},             // 3000, from 2048; taken at 1.575 ms
          {100, "01 02 24 02", "01 00 77 09"},        // 2423
          {130, "01 02 26 04", "01 00 E2 01 50 00"},  // 482 * 0.114 rpm
          {253, "01 02 2E 01", "01 00 01"},           // asked at 254.4 ms
          {300, "01 02 2E 01", "01 00 00"},
          {350, "01 02 24 02", "01 00 B8 0B"},
          {400, "01 02 26 04", "01 00 00 00 00 00"}}},
        {"at 11.4 rpm, 778.2 units a second, downwards",
         {},
         {{0, "01 03 1E 9C 07 64 00", "01 00"},  // 1948
          {60, "01 02 24 06", "01 00 D2 07 64 04 50 04"},
          {150, "01 02 24 06", "01 00 9C 07 00 00 00 00"}}},
        {"speed changed under way",
         {},
         {{0, "01 03 1E B8 0B", "01 00"},
          {100, "01 03 20 64 00", "01 00"},     // 2423.5 at 101.6 ms, 576.5 to go
          {800, "01 02 24 02", "01 00 98 0B"},  // 2968.1 at 801.4 ms
          {850, "01 02 24 02", "01 00 B8 0B"}}},
        {"torque off stops it; torque on holds it there",
         {},
         {{0, "01 03 1E B8 0B", "01 00"},
          {50, "01 02 18 01", "01 00 01"},
          {100, "01 03 18 00", "01 00"},
          {150, "01 02 24 02", "01 00 77 09"},
          {200, "01 02 2E 01", "01 00 00"},
          {250, "01 03 18 01", "01 00"},
          {300, "01 02 1E 02", "01 00 77 09"}}},
        {"registered and synchronous goals",
         {},
         {{0, "01 04 1E B8 0B", "01 00"},
          {50, "01 02 2E 01", "01 00 00"},
          {100, "01 05", "01 00"},
          {150, "01 02 2E 01", "01 00 01"},
          {200, "FE 83 1E 02 02 B8 0B", ""},
          {250, "02 02 2E 01", "02 00 01"}}},
        {"goals outside the limits 256 to 1023 are not taken",
         {},
         {{0, "01 03 06 00 01 FF 03", "01 00"},
          {50, "01 03 1E FF 00", "01 02"},
          {100, "01 03 1E 00 04", "01 02"},
          {150, "01 04 1E 00 04", "01 02"},
          {200, "01 02 1E 02", "01 00 00 08"},
          {250, "01 03 1E 00 01", "01 00"},
          {1000, "01 02 24 02", "01 00 00 01"}}},
    });
}

// At 7.8 units a second a servo goes 0.16 units from one goal to the next.
TEST(ServoModel, LosesNothingWhenGoalsComeFasterThanItsSteps)
{
    ServoModel servo(plainServo(1), {});
    const auto write = [&](int address, int value, Time at) {
        servo.handle(*dxl::writeRequest(1, address, value, dxl::kWord), at);
    };
    write(dxl::kMovingSpeed, 1, Time());
    for (int i = 0; i < 50; ++i) write(dxl::kGoalPosition, 3000 + i, Time() + milliseconds(20 * i));
    EXPECT_EQ(servo.state(Time() + milliseconds(1000)).position, 2056);
}

/// Where the servo comes to rest after a goal is written, minus the goal.
int errorAfter(ServoModel* servo, int goal, Time* now)
{
    servo->handle(*dxl::writeRequest(servo->id(), dxl::kGoalPosition, goal, dxl::kWord), *now);
    *now = std::max(*now, servo->arrival());
    return servo->state(*now).position - goal;
}

TEST(ServoModel, FrictionEndsLongMovesShortAndASecondApproachBetter)
{
    for (const size_t index : {0U, 1U}) {
        ServoModel servo(defaultServos().at(index), {});
        const int least = index == 0 ? 3 : 4;
        Time now;
        bool hasVaried = false;
        double squares = 0, secondSquares = 0;
        for (int i = 0; i < 100; ++i) {
            const int goal = 1000 + 1777 * i % 2000;
            const int sign = goal < servo.state(now).position ? -1 : 1;
            const int shortBy = -sign * errorAfter(&servo, goal, &now);
            EXPECT_TRUE(shortBy == least || shortBy == least + 1) << shortBy;
            hasVaried = hasVaried || shortBy != least;
            squares += shortBy * shortBy;

            // From a second place 500 units behind, by way of 5 units beyond the goal.
            errorAfter(&servo, goal - sign * 500, &now);
            errorAfter(&servo, goal + sign * 5, &now);
            const int error = errorAfter(&servo, goal + 1, &now) + 1;
            EXPECT_LE(std::abs(error), 2);
            secondSquares += error * error;
        }
        EXPECT_TRUE(hasVaried);
        EXPECT_LT(secondSquares, squares / 4);
    }
}

TEST(ServoBusModel, ShowsTheFaultsOfItsServos)
{
    check({
        {"silent", {"servos.silent"}, {{0, "01 01", ""}}},
        {"status level", {"servos.status-level=0"}, {{0, "02 02 10 01", ""}}},
        {"stuck: moving until its goal is where it stands",
         {"servos.stuck=1"},
         {{0, "01 03 1E B8 0B", "01 00"},
          {900, "01 02 24 06", "01 00 00 08 00 00 FF 03"},
          {950, "01 02 2E 01", "01 00 01"},
          {1000, "01 03 1E 00 08", "01 00"},
          {1050, "01 02 2E 01", "01 00 00"},
          {1100, "01 03 1E B8 0B", "01 00"},
          {1150, "01 03 18 00", "01 00"},
          {1200, "01 02 2E 01", "01 00 00"},
          {1250, "02 03 1E B8 0B", "02 00"},
          {1900, "02 02 24 02", "02 00 B8 0B"}}},
        {"jammed half-way from 2048 to 3000",
         {"servos.jammed"},
         {{0, "02 03 1E B8 0B", "02 00"},
          {900, "02 02 24 06", "02 00 DC 09 00 00 FF 03"},
          {950, "02 02 2E 01", "02 00 00"}}},
        {"overload: torque is off while the shutdown register names it",
         {"servos.overload"},
         {{0, "02 01", "02 20"},
          {50, "02 03 1E B8 0B", "02 20"},
          {100, "02 02 18 01", "02 20 00"},
          {150, "02 03 12 04", "02 20"},
          {200, "02 03 1E B8 0B", "02 20"},
          {250, "02 02 18 01", "02 20 01"},
          {900, "02 02 24 02", "02 20 B8 0B"},
          {950, "01 01", "01 00"}}},
        {"both alarms, and a refusal",
         {"servos.overload=1", "servos.overheating=1"},
         {{0, "01 01", "01 24"}, {50, "01 02 2B 01", "01 24 55"}, {100, "01 03 00 01", "01 2C"}}},
        {"lost", {"servos.lost"}, {{0, "02 01", ""}, {50, "01 01", "01 00"}}},
        {"wrong ID",
         {"servos.wrong-id"},
         {{0, "02 02 03 01", "02 00 03"},
          {50, "02 02 02 03", "02 00 24 03 22"},
          {100, "02 02 04 01", "02 00 22"},
          {150, "01 02 03 01", "01 00 01"}}},
        {"no power at all", {"servos.no-power"}, {{0, "01 01", ""}}},
        {"no power after 0.1 s",
         {"servos.no-power=0.1"},
         {{50, "01 01", "01 00"}, {100, "01 01", ""}}},
        {"unplugged after 0.1 s",
         {"servos.unplug=0.1"},
         {{50, "01 01", "01 00"}, {100, "01 01", ""}}},
        {"unplugged 50 ms after a goal",
         {"servos.unplug-on-move=50"},
         {{0, "01 03 1E 00 10", "01 02"},
          {200, "01 03 1E B8 0B", "01 00"},
          {225, "01 01", "01 00"},
          {251, "01 01", ""}}},
    });

    ServoBusModel bus({plainServo(1)}, Faults{"servos.no-power=0.1"});
    ask(&bus, {0, "01 03 1E B8 0B", ""});
    bus.takeOutput(Time() + milliseconds(300));
    const ServoState state = bus.states(Time() + milliseconds(300))[0];
    EXPECT_EQ(state.position, 2048 + 370) << "98.4 ms of motion";
    EXPECT_FALSE(state.isMoving);
    EXPECT_FALSE(state.torque);
}

TEST(ServoBusModel, ShowsTheFaultsOfItsLine)
{
    const std::vector<Send> pings = {{0, kPing}, {20, kPing}};
    const struct
    {
        const char* fault;
        Lines answers;  // at ms
    } cases[] = {
        {"servos.slow=10", {"12: FF FF 01 02 00 FC", "32: FF FF 01 02 00 FC"}},
        {"servos.late-answer", {"22: FF FF 01 02 00 FC", "42: FF FF 01 02 00 FC"}},
        {"servos.noise", {"2: 5C FF FF 01 02 00 FC", "22: F6 FF FF 01 02 00 FC"}},
        {"servos.echo",
         {"1: FF FF 01 02 01 FB", "2: FF FF 01 02 00 FC", "21: FF FF 01 02 01 FB",
          "22: FF FF 01 02 00 FC"}},
        {"servos.cut", {"1: FF FF 01", "21: FF FF 01"}},
        {"servos.cut=2", {"2: FF FF 01 02 00 FC", "21: FF FF 01"}},
        {"servos.wrong-checksum", {"2: FF FF 01 02 00 FD", "22: FF FF 01 02 00 FD"}},
        {"servos.wrong-checksum=2", {"2: FF FF 01 02 00 FC", "22: FF FF 01 02 00 FD"}},
        {"servos.return-delay=0", {"2: FF FF 01 02 00 FC", "22: FF FF 01 02 00 FC"}},
    };
    constexpr Talk line{57143, milliseconds(1)};
    for (const auto& c : cases) {
        ServoBusModel bus({plainServo(1)}, Faults{c.fault});
        EXPECT_THAT(line(&bus, pings, 1000), ElementsAreArray(c.answers)) << c.fault;
    }
    ServoBusModel bus(defaultServos(), Faults{"servos.return-delay=0"});
    EXPECT_THAT((Talk{57143, microseconds(1)}(&bus, {{0, kPing}}, 1000000)),
                testing::ElementsAre("2099: FF FF 01 02 00 FC"));

    // An adapter that echoes does so at any bit rate; only what a servo has understood counts.
    ServoBusModel echoing({plainServo(1)}, Faults{"servos.echo"});
    EXPECT_FALSE(echoing.receive(bytes(kPing), 9600, Time()));
    EXPECT_EQ(echoing.takeOutput(Time() + milliseconds(50)).at(0).bytes, bytes(kPing));
    EXPECT_TRUE(echoing.packets().empty());
    EXPECT_TRUE(echoing.receive(bytes(kPing), 57143, Time() + milliseconds(50)));
    echoing.takeOutput(Time() + milliseconds(100));
    EXPECT_THAT(echoing.packets(), testing::ElementsAre(bytes(kPing)));
}

// Whoever sleeps until nextEvent() misses nothing, be it only the end of a motion.
TEST(ServoBusModel, SaysWhenItNextHasSomethingToDo)
{
    ServoBusModel bus({plainServo(1)}, Faults{"servos.split", "servos.no-power=1"});
    bus.receive(framed("01 03 1E B8 0B"), 57143, Time());
    std::string received;
    Lines times;
    for (auto next = bus.nextEvent(); next; next = bus.nextEvent()) {
        times.push_back(std::to_string((*next - Time()).nanoseconds() / 1000000));
        for (const Output& output : bus.takeOutput(*next)) {
            EXPECT_EQ(output.at, *next);
            received += fmt::format("{:02X} ", fmt::join(output.bytes, " "));
        }
    }
    EXPECT_EQ(received, "FF FF 01 02 00 FC ");
    EXPECT_THAT(times,
                testing::ElementsAre("1", "11", "21", "32", "42", "52", "62", "255", "1000"));
}

TEST(ServoBusModel, RefusesAServoThatCannotBe)
{
    ServoSetup setup;
    setup.baudNumber = 253;
    EXPECT_THROW(ServoBusModel({setup}), std::invalid_argument);
}

}  // namespace
