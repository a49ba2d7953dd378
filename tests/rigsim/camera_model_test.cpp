#include "tools/rigsim/camera_model.h"

#include <gmock/gmock.h>

#include "model_talk.h"

namespace
{

using namespace rigsim;
using quill::milliseconds;
using namespace model_talk;
using testing::ElementsAreArray;

// Times in ms; a byte takes 1.04 ms each way.
constexpr Talk kLine{9600, milliseconds(1)};

Time at(int64_t ms)
{
    return kLine.at(ms);
}

Lines talk(CameraModel* camera, const std::vector<Send>& sends, int64_t endMs = 10000)
{
    return kLine(camera, sends, endMs);
}

const std::string kAddressSet = "88 30 01 FF";
const std::string kClear = "88 01 00 01 FF";
const std::string kMove = "81 01 06 02 14 14 00 00 06 04 0F 0F 0E 0C FF";     // 100, -20 at 20
const std::string kFarMove = "81 01 06 02 0A 0A 00 03 0E 08 00 00 00 00 FF";  // 1000, 0 at 10
const std::string kZoom = "81 01 04 47 02 00 00 00 FF";                       // 8192
const std::string kStop = "81 01 06 01 01 01 03 03 FF";
const std::string kWhere = "81 09 06 12 FF";
const std::string kWhereZoom = "81 09 04 47 FF";

struct Case
{
    const char* what;
    std::initializer_list<const char*> faults;
    std::vector<Send> sends;
    Lines replies;
};

void check(const std::vector<Case>& cases)
{
    for (const Case& c : cases) {
        CameraModel camera{Faults(c.faults)};
        EXPECT_THAT(talk(&camera, c.sends), ElementsAreArray(c.replies)) << c.what;
    }
}

TEST(CameraModel, AnswersAtThePaceOfTheLine)
{
    check({
        {"handshake",
         {},
         {{0, kAddressSet}, {20, kClear}},
         {"8: 88 30 02 FF", "30: 88 01 00 01 FF"}},
        {"clear of this camera only", {}, {{0, "81 01 00 01 FF"}}, {"8: 90 50 FF"}},
        {"version", {}, {{0, "81 09 00 02 FF"}}, {"15: 90 50 00 00 00 00 01 00 02 FF"}},
        {"two packets in one write take turns",
         {},
         {{0, kAddressSet + " " + kWhereZoom}},
         {"8: 88 30 02 FF", "16: 90 50 00 00 00 00 FF"}},
        {"a packet in two writes", {}, {{0, "88 30"}, {50, "01 FF"}}, {"56: 88 30 02 FF"}},
        {"unknown command", {}, {{0, "81 01 7E 01 FF"}}, {"9: 90 60 02 FF"}},
        {"position nibble above F", {}, {{0, "81 01 04 47 12 00 00 00 FF"}}, {"13: 90 60 02 FF"}},
        {"other camera", {}, {{0, "82 09 04 47 FF"}}, {}},
        {"noise, then a packet", {}, {{0, "00 FF " + kAddressSet}}, {"10: 88 30 02 FF"}},
    });
}

TEST(CameraModel, AcknowledgesAtOnceAndCompletesWhenTheMotionEnds)
{
    check({
        {"pan 100 steps at 1000 a second", {}, {{0, kMove}}, {"18: 90 41 FF", "118: 90 51 FF"}},
        {"already there",
         {},
         {{0, kZoom}, {2000, kZoom}},
         {"12: 90 41 FF", "1012: 90 51 FF", "2012: 90 41 FF", "2015: 90 51 FF"}},
        {"two sockets, then full",
         {},
         {{0, kFarMove}, {30, kZoom}, {60, kMove}, {90, kMove}},
         {"18: 90 41 FF", "42: 90 42 FF", "79: 90 60 03 FF", "109: 90 60 03 FF", "1042: 90 52 FF",
          "2018: 90 51 FF"}},
        {"overtaken: both end with the later",
         {},
         {{0, kFarMove}, {100, kMove}},
         {"18: 90 41 FF", "118: 90 42 FF", "168: 90 51 FF", "171: 90 52 FF"}},
        {"stop ends the move, zoom goes on",
         {},
         {{0, kFarMove}, {30, kZoom}, {100, kStop}},
         {"18: 90 41 FF", "42: 90 42 FF", "112: 90 51 FF", "115: 90 41 FF", "118: 90 51 FF",
          "1042: 90 52 FF"}},
        {"cancel",
         {},
         {{0, kFarMove}, {100, "81 21 FF"}, {200, "81 21 FF"}},
         {"18: 90 41 FF", "107: 90 61 04 FF", "207: 90 60 05 FF"}},
        {"clear forgets the sockets",
         {},
         {{0, kFarMove}, {100, kClear}, {200, "81 21 FF"}},
         {"18: 90 41 FF", "110: 88 01 00 01 FF", "207: 90 60 05 FF"}},
        {"re-home by the lower limits",
         {},
         {{0, "81 01 06 05 FF"}},
         {"8: 90 41 FF", "3786: 90 51 FF"}},
        {"home from 100, -20",
         {},
         {{0, kMove}, {200, "81 01 06 04 FF"}},
         {"18: 90 41 FF", "118: 90 51 FF", "208: 90 41 FF", "291: 90 51 FF"}},
    });
}

TEST(CameraModel, RefusesWhatItCannotDo)
{
    const Lines refused = {"19: 90 61 41 FF"};
    check({
        {"pan 2268", {}, {{0, "81 01 06 02 14 14 00 08 0D 0C 00 00 00 00 FF"}}, refused},
        {"pan -2268", {}, {{0, "81 01 06 02 14 14 0F 07 02 04 00 00 00 00 FF"}}, refused},
        {"tilt 1201", {}, {{0, "81 01 06 02 14 14 00 00 00 00 00 04 0B 01 FF"}}, refused},
        {"tilt -401", {}, {{0, "81 01 06 02 14 14 00 00 00 00 0F 0E 06 0F FF"}}, refused},
        {"pan speed 19h", {}, {{0, "81 01 06 02 19 14 00 00 00 00 00 00 00 00 FF"}}, refused},
        {"tilt speed 0", {}, {{0, "81 01 06 02 14 00 00 00 00 00 00 00 00 00 FF"}}, refused},
        {"zoom 4001h", {}, {{0, "81 01 04 47 04 00 00 01 FF"}}, {"13: 90 61 41 FF"}},
    });
    check({
        {"standby, and on again",
         {},
         {{0, "81 01 04 00 03 FF"},
          {50, "81 09 04 00 FF"},
          {100, kMove},
          {150, "81 01 04 00 02 FF"},
          {200, "81 09 04 00 FF"},
          {250, kMove}},
         {"9: 90 41 FF", "12: 90 51 FF", "59: 90 50 03 FF", "119: 90 61 41 FF", "159: 90 41 FF",
          "162: 90 51 FF", "209: 90 50 02 FF", "268: 90 41 FF", "368: 90 51 FF"}},
    });
}

TEST(CameraModel, TellsItsPositionAtAnyMomentOfAMotion)
{
    check({
        {"pan and tilt under way",
         {},
         {{0, kFarMove}, {1010, kWhere}, {3000, kWhere}},
         // asked at 1015.2 ms, 999.6 ms and 499.8 steps after the start
         {"18: 90 41 FF", "1026: 90 50 00 01 0F 04 00 00 00 00 FF", "2018: 90 51 FF",
          "3016: 90 50 00 03 0E 08 00 00 00 00 FF"}},
        {"negative tilt",
         {},
         {{0, kMove}, {500, kWhere}},
         {"18: 90 41 FF", "118: 90 51 FF", "516: 90 50 00 00 06 04 0F 0F 0E 0C FF"}},
        {"zoom stays where it was cancelled",
         {},
         {{0, kZoom}, {505, "81 21 FF"}, {700, kWhereZoom}},
         // cancelled at 508.1 ms, 498.75 ms after the start
         {"12: 90 41 FF", "512: 90 61 04 FF", "712: 90 50 00 0F 0F 06 FF"}},
    });

    CameraModel camera;
    talk(&camera, {{0, "81 01 06 05 FF"}}, 1000);
    EXPECT_EQ(camera.state(at(1895)).pan, CameraModel::kPanMin + 1) << "re-home passes the limit";
    EXPECT_EQ(camera.state(at(400)).tilt, -395);
    EXPECT_TRUE(camera.state(at(3700)).isMoving);
    EXPECT_FALSE(camera.state(at(3800)).isMoving);
    EXPECT_EQ(camera.state(at(3800)).pan, 0);
}

TEST(CameraModel, ShowsItsFaults)
{
    const std::vector<Send> hello = {{0, kAddressSet}, {20, kClear}};
    const std::vector<Send> move = {{0, kMove}};
    check({
        {"silent", {"camera.silent", "camera.echo"}, hello, {}},
        {"slow", {"camera.slow=300"}, hello, {"308: 88 30 02 FF", "330: 88 01 00 01 FF"}},
        {"late first ACK",
         {"camera.late-ack"},
         {{0, kMove}, {500, kWhereZoom}, {4000, kMove}},
         {"512: 90 50 00 00 00 00 FF", "3118: 90 41 FF", "3218: 90 51 FF", "4018: 90 41 FF",
          "4021: 90 51 FF"}},
        {"noise", {"camera.noise"}, hello, {"9: 5C 88 30 02 FF", "31: F6 88 01 00 01 FF"}},
        {"echo",
         {"camera.echo"},
         hello,
         {"4: 88 30 01 FF", "8: 88 30 02 FF", "25: 88 01 00 01 FF", "30: 88 01 00 01 FF"}},
        {"split", {"camera.split"}, {{0, kAddressSet}}, {"15: 88", "26: 30", "37: 02", "48: FF"}},
        {"cut", {"camera.cut"}, hello, {"6: 88 30", "28: 88 01 00"}},
        {"second reply cut", {"camera.cut=2"}, move, {"18: 90 41 FF", "117: 90 51"}},
        {"stale",
         {"camera.stale"},
         {{100, kAddressSet}},
         {"3: 90 51 FF", "6: 90 38 FF", "107: 90 51 FF", "110: 90 38 FF", "114: 88 30 02 FF"}},
        {"refuse",
         {"camera.refuse"},
         {{0, kMove}, {100, kWhereZoom}},
         {"19: 90 61 41 FF", "112: 90 50 00 00 00 00 FF"}},
        {"standby", {"camera.standby"}, {{0, "81 09 04 00 FF"}}, {"9: 90 50 03 FF"}},
        {"buffer full once",
         {"camera.buffer-full=1"},
         {{0, kZoom}, {100, kMove}},
         {"13: 90 60 03 FF", "118: 90 41 FF", "218: 90 51 FF"}},
        {"buffer always full",
         {"camera.buffer-full"},
         {{0, kZoom}, {100, kZoom}},
         {"13: 90 60 03 FF", "113: 90 60 03 FF"}},
        {"clear refused", {"camera.refuse-clear"}, {{0, kClear}}, {"9: 90 60 02 FF"}},
        {"clear ignored", {"camera.ignore-clear"}, hello, {"8: 88 30 02 FF"}},
        {"no ACK", {"camera.no-ack"}, move, {"118: 90 51 FF"}},
        {"one socket",
         {"camera.one-socket"},
         {{0, kMove}, {30, kZoom}},
         {"18: 90 41 FF", "42: 90 41 FF", "118: 90 51 FF", "1042: 90 51 FF"}},
        {"other address",
         {"camera.other-address"},
         {{0, kAddressSet}, {50, kMove}},
         {"8: 88 30 02 FF", "68: A0 41 FF", "168: A0 51 FF"}},
        {"stuck",
         {"camera.stuck"},
         {{0, kMove}, {200, kWhere}},
         {"18: 90 41 FF", "118: 90 51 FF", "216: 90 50 00 00 00 00 00 00 00 00 FF"}},
        {"restless",
         {"camera.restless"},
         {{0, kWhereZoom}, {100, kWhereZoom}},
         {"12: 90 50 00 00 00 01 FF", "112: 90 50 00 00 00 02 FF"}},
        {"unplugged", {"camera.unplug=0.1"}, {{0, kMove}}, {"18: 90 41 FF"}},
        {"unplugged on a move", {"camera.unplug-on-move=50"}, {{200, kMove}}, {"218: 90 41 FF"}},
    });

    CameraModel pulled(Faults{"camera.unplug-on-move=50"});
    talk(&pulled, {{200, kMove}}, 230);
    EXPECT_FALSE(pulled.isUnplugged(at(265)));
    EXPECT_TRUE(pulled.isUnplugged(at(266)));
}

// The thread that runs the model wakes when it can; what happens must not depend on it.
TEST(CameraModel, DoesTheSameHoweverOftenItIsLookedAt)
{
    const Faults faults{"camera.noise", "camera.split", "camera.slow=20", "camera.stale"};
    const std::vector<Send> sends = {{0, kFarMove}, {5, kZoom}, {300, kWhere}, {310, "81 22 FF"}};
    CameraModel once(faults);
    CameraModel often(faults);
    const Lines expected = talk(&once, sends, 4000);
    EXPECT_GT(expected.size(), 20U);

    Lines lines;
    auto send = sends.begin();
    for (int64_t ms = 0; ms <= 4000; ++ms) {
        const Lines more = send != sends.end() && send->at == ms ? talk(&often, {*send++}, ms)
                                                                 : talk(&often, {}, ms);
        lines.insert(lines.end(), more.begin(), more.end());
    }
    EXPECT_EQ(lines, expected);
}

// Whoever sleeps until nextEvent() misses nothing.
TEST(CameraModel, SaysWhenItNextHasSomethingToDo)
{
    CameraModel camera(Faults{"camera.split"});
    camera.receive(bytes(kMove), kLine.bitRate, at(0));
    std::string received;
    for (auto next = camera.nextEvent(); next; next = camera.nextEvent())
        for (const Output& output : camera.takeOutput(*next)) {
            EXPECT_EQ(output.at, *next);
            received += fmt::format("{:02X} ", fmt::join(output.bytes, " "));
        }
    EXPECT_EQ(received, "90 41 FF 90 51 FF ");
    EXPECT_EQ(camera.state(at(1000)).pan, 100);
}

TEST(Faults, NamesTheCulpritAndTheNearestFault)
{
    const struct
    {
        const char* text;
        const char* message;
    } cases[] = {
        {"camera.slow=300", nullptr},
        {"camera.unplug=0.5", nullptr},
        {"servos.no-power", nullptr},
        {"servos.stuck=253", nullptr},
        {"servos.stuck=254",
         "bad value in 'servos.stuck=254', it must be a number from 0 to 253: servos.stuck[=ID]"},
        {"servos.status-level=3",
         "bad value in 'servos.status-level=3', it must be a number from 0 to 2: "
         "servos.status-level=N"},
        {"camera.late-ack", nullptr},
        {"camera.slo=3", "unknown fault 'camera.slo', the nearest is camera.slow=MS"},
        {"noise", "unknown fault 'noise', the nearest is camera.noise"},
        {"camera.slow", "fault 'camera.slow' needs a value: camera.slow=MS"},
        {"camera.echo=1", "fault 'camera.echo' takes no value"},
        {"camera.cut=0",
         "bad value in 'camera.cut=0', it must be a number from 1 to 1000000: camera.cut[=N]"},
        {"camera.slow=3x",
         "bad value in 'camera.slow=3x', it must be a number from 0 to 86400000: camera.slow=MS"},
        {"camera.slow=-1",
         "bad value in 'camera.slow=-1', it must be a number from 0 to 86400000: camera.slow=MS"},
        {"camera.unplug=nan",
         "bad value in 'camera.unplug=nan', it must be a number from 0 to 86400: "
         "camera.unplug=SECONDS"},
        {"camera.slow=99999999999999999999",
         "bad value in 'camera.slow=99999999999999999999', it must be a number from 0 to 86400000: "
         "camera.slow=MS"},
    };
    for (const auto& c : cases) {
        Faults faults;
        const auto error = faults.add(c.text);
        EXPECT_EQ(error.value_or("taken"), c.message ? c.message : "taken");
    }
    EXPECT_THROW(Faults().has("camera.slwo"), std::logic_error);
}

}  // namespace
