#include <gtest/gtest.h>

#include "model_talk.h"
#include "tools/rigsim/servo_bus_model.h"

namespace
{

using namespace rigsim;
using namespace model_talk;
using quill::milliseconds;
namespace dxl = quill::dynamixel;

constexpr Duration kUs = quill::microseconds(1);
const std::string kPing = "FF FF 01 02 01 FB";

/// Friction and return delay are none unless a test is about them.
ServoSetup plainServo(uint8_t id)
{
    ServoSetup setup;
    setup.id = id;
    setup.returnDelay = setup.friction = 0;
    return setup;
}

TEST(ServoBusModel, AnswersAtThePaceOfTheLine)
{
    std::vector<ServoSetup> servos = defaultServos();
    servos.push_back(plainServo(5));
    const struct
    {
        const char* what;
        unsigned bitRate;
        std::vector<Send> sends;  // at us
        const char* answers;
    } cases[] = {
        {"ping: 12 bytes and 500 us", 57143, {{0, kPing}}, "2599: FF FF 01 02 00 FC"},
        {"2.9 % too fast", 58824, {{0, kPing}}, "2539: FF FF 01 02 00 FC"},
        {"3.1 % too slow", 55370, {{0, kPing}}, ""},
        {"its own bit rate", 117647, {{0, "FF FF 07 02 01 F5"}}, "1520: FF FF 07 02 00 F6"},
        {"halves", 57143, {{0, "FF FF 01"}, {50000, "02 01 FB"}}, "52074: FF FF 01 02 00 FC"},
        {"cut", 57143, {{0, "FF FF 01 02"}, {200000, kPing}}, "202599: FF FF 01 02 00 FC"},
        {"noise before the header", 57143, {{0, "FF 00 FF " + kPing}}, "3124: FF FF 01 02 00 FC"},
        {"damaged", 57143, {{0, "FF FF 01 02 01 FC"}}, "2599: FF FF 01 02 10 EC"},
        {"of a servo that is not there", 57143, {{0, "FF FF 03 02 01 F9"}}, ""},
        {"ping to all",
         57143,
         {{0, "FF FF FE 02 01 FE"}},
         "2099: FF FF 05 02 00 F8, 3149: FF FF 01 02 00 FC, 4199: FF FF 02 02 00 FB"},
    };
    for (const auto& c : cases) {
        ServoBusModel bus(servos);
        EXPECT_EQ(talk(&bus, c.bitRate, kUs, c.sends), c.answers) << c.what;
    }
}

/// Sends "ID instruction parameters" at 57143 bit/s: the servo has 8 bytes after 1.4 ms.
/// @return "ID error parameters", or all that came when it is no status packet
Bytes ask(ServoBusModel* bus, const std::string& request, int atMs)
{
    const Time start = Time() + milliseconds(atMs);
    bus->takeOutput(start);
    const Bytes sent = bytes(request);
    bus->receive(
        dxl::encode(dxl::InstructionPacket{sent[0], sent[1], {sent.begin() + 2, sent.end()}}),
        57143, start);
    Bytes all;
    for (const Output& output : bus->takeOutput(start + milliseconds(20)))
        all.insert(all.end(), output.bytes.begin(), output.bytes.end());
    dxl::StatusPacket status;
    if (dxl::parse(all, &status) != dxl::ParseResult::Complete) return all;
    status.parameters.insert(status.parameters.begin(), {status.id, status.error});
    return status.parameters;
}

struct Case
{
    const char* what;
    std::string dialogue;  // "ms: request > answer; ms: request > answer", nothing for silence
    Faults faults = {};
};

void check(const std::vector<Case>& cases)
{
    for (const Case& c : cases) {
        ServoBusModel bus({plainServo(1), plainServo(2)}, c.faults);
        std::istringstream in(c.dialogue);
        for (std::string step; std::getline(in, step, ';');) {
            const size_t request = step.find(':') + 1, answer = step.find('>');
            EXPECT_EQ(ask(&bus, step.substr(request, answer - request), std::stoi(step)),
                      bytes(step.substr(answer + 1)))
                << c.what << ": " << step;
        }
    }
}

TEST(ServoBusModel, KeepsAControlTable)
{
    check({
        {"to the end and beyond", "0: 01 02 48 02 > 01 00 00 00; 50: 01 02 49 02 > 01 08"},
        {"read-only, locked EEPROM, out of range, too long: nothing is taken",
         "0: 01 03 00 1D 00 > 01 08; 50: 01 03 19 02 > 01 08; 100: 01 03 19 01 00 FF > 01 08;"
         "150: 01 03 2F 01 > 01 00; 200: 01 03 0B 46 > 01 08; 250: 01 02 18 02 > 01 00 00 00"},
        {"registered write and action",
         "0: 01 04 19 01 > 01 00; 50: 01 02 2C 01 > 01 00 01; 100: 01 02 19 01 > 01 00 00;"
         "150: FE 05 >; 200: 01 02 19 01 > 01 00 01; 250: 01 05 > 01 40; 300: 01 04 19 02 > 01 08"},
        {"synchronous write", "0: FE 83 19 01 02 01 >; 50: 02 02 19 01 > 02 00 01"},
        {"unknown, incomplete instruction", "0: 01 07 > 01 40; 50: 01 03 19 > 01 40"},
        {"a new ID counts after the answer, until a factory reset",
         "0: 01 03 03 05 > 01 00; 50: 01 01 >; 100: 05 06 > 05 00; 150: 01 01 > 01 00"},
        {"status level 1: silent, yet it works",
         "0: 01 03 19 01 >; 50: 01 02 19 01 > 01 00 01; 100: 01 03 1E 00 10 >; 150: 01 07 >",
         {"servos.status-level=1"}},
    });
}

// 3754.7 units a second at full speed: 952 units take 253.55 ms.
TEST(ServoBusModel, MovesToItsGoalAtItsSpeed)
{
    check({
        {"from 2048 to 3000: 2423 and 482 * 0.114 rpm under way",
         "0: 01 03 1E B8 0B > 01 00; 100: 01 02 24 02 > 01 00 77 09;"
         "130: 01 02 26 04 > 01 00 E2 01 50 00; 253: 01 02 2E 01 > 01 00 01;"
         "300: 01 02 2E 01 > 01 00 00; 350: 01 02 24 02 > 01 00 B8 0B"},
        {"torque off stops it; torque on holds it there",
         "0: 01 03 1E B8 0B > 01 00; 50: 01 02 18 01 > 01 00 01; 100: 01 03 18 00 > 01 00;"
         "150: 01 02 24 02 > 01 00 77 09; 250: 01 03 18 01 > 01 00;300: 01 02 1E 02 > 01 00 77 09"},
        {"goals outside the limits 256 to 1023 are not taken",
         "0: 01 03 06 00 01 FF 03 > 01 00; 50: 01 03 1E FF 00 > 01 02; 100: 01 04 1E 00 04 > 01 02;"
         "150: 01 03 1E 00 01 > 01 00; 900: 01 02 24 02 > 01 00 00 01"},
    });
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
    ServoModel servo(defaultServos().at(0), {});
    Time now;
    for (int i = 0; i < 100; ++i) {
        const int goal = 1000 + 1777 * i % 2000;
        const int sign = goal < servo.state(now).position ? -1 : 1;
        const int shortBy = -sign * errorAfter(&servo, goal, &now);
        EXPECT_TRUE(shortBy == 3 || shortBy == 4) << shortBy;
        // From a second place 500 units behind, by way of 5 units beyond the goal.
        errorAfter(&servo, goal - sign * 500, &now);
        errorAfter(&servo, goal + sign * 5, &now);
        EXPECT_LE(std::abs(errorAfter(&servo, goal + 1, &now) + 1), 2);
    }
}

TEST(ServoBusModel, ShowsTheFaultsOfItsServos)
{
    check({
        {"stuck: moving until its goal is where it stands",
         "0: 01 03 1E B8 0B > 01 00; 900: 01 02 24 06 > 01 00 00 08 00 00 FF 03;"
         "950: 01 02 2E 01 > 01 00 01; 1000: 01 03 1E 00 08 > 01 00; 1050: 01 02 2E 01 > 01 00 00",
         {"servos.stuck=1"}},
        {"jammed half-way from 2048 to 3000",
         "0: 02 03 1E B8 0B > 02 00; 900: 02 02 24 06 > 02 00 DC 09 00 00 FF 03",
         {"servos.jammed"}},
        {"overload: torque is off while the shutdown register names it",
         "0: 02 03 1E B8 0B > 02 20; 50: 02 02 18 01 > 02 20 00; 100: 02 03 12 04 > 02 20;"
         "150: 02 03 1E B8 0B > 02 20; 900: 02 02 24 02 > 02 20 B8 0B; 950: 01 01 > 01 00",
         {"servos.overload"}},
        {"lost", "0: 02 01 >; 50: 01 01 > 01 00", {"servos.lost"}},
        {"wrong ID", "0: 02 02 02 03 > 02 00 24 03 22", {"servos.wrong-id"}},
        {"power fails", "50: 01 01 > 01 00; 100: 01 01 >", {"servos.no-power=0.1"}},
        {"unplugged", "50: 01 01 > 01 00; 100: 01 01 >", {"servos.unplug=0.1"}},
        {"unplugged 50 ms after a goal",
         "200: 01 03 1E B8 0B > 01 00; 225: 01 01 > 01 00; 251: 01 01 >",
         {"servos.unplug-on-move=50"}},
    });
}

TEST(ServoBusModel, ShowsTheFaultsOfItsLine)
{
    const std::pair<const char*, const char*> cases[] = {
        {"servos.slow=10", "12099: FF FF 01 02 00 FC, 112099: FF FF 01 02 00 FC"},
        {"servos.late-answer", "42099: FF FF 01 02 00 FC, 102099: FF FF 01 02 00 FC"},
        {"servos.noise", "2274: 5C FF FF 01 02 00 FC, 102274: F6 FF FF 01 02 00 FC"},
        {"servos.cut=2", "2099: FF FF 01 02 00 FC, 101574: FF FF 01"},
        {"servos.wrong-checksum=2", "2099: FF FF 01 02 00 FC, 102099: FF FF 01 02 00 FD"},
        {"servos.twin=1",
         "2099: FF FF 01 02 00 FC, 3149: FF FF 01 02 00 FC, 102099: FF FF 01 02 00 FC, "
         "103149: FF FF 01 02 00 FC"},
        {"servos.drop=2", "2099: FF FF 01 02 00 FC"},
        {"servos.return-delay=254", "2607: FF FF 01 02 00 FC, 102607: FF FF 01 02 00 FC"},
        {"servos.echo",
         "1049: FF FF 01 02 01 FB, 2099: FF FF 01 02 00 FC, 101049: FF FF 01 02 01 FB, "
         "102099: FF FF 01 02 00 FC"},
    };
    for (const auto& [fault, answers] : cases) {
        ServoBusModel bus({plainServo(1)}, Faults{fault});
        EXPECT_EQ(talk(&bus, 57143, kUs, {{0, kPing}, {100000, kPing}}), answers) << fault;
    }
}

}  // namespace
