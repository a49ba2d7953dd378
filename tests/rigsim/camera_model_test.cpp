#include "tools/rigsim/camera_model.h"

#include <gtest/gtest.h>

#include "model_talk.h"
#include "tools/rigsim/bit_rate.h"

namespace
{

using namespace rigsim;
using model_talk::Send;

const std::string kAddressSet = "88 30 01 FF";
const std::string kClear = "88 01 00 01 FF";
const std::string kMove = "81 01 06 02 14 14 00 00 06 04 0F 0F 0E 0C FF";     // 100, -20 at 20
const std::string kFarMove = "81 01 06 02 0A 0A 00 03 0E 08 00 00 00 00 FF";  // 1000, 0 at 10
const std::string kZoom = "81 01 04 47 02 00 00 00 FF";                       // 8192
const std::string kCancel = "81 21 FF";
const std::string kWhere = "81 09 06 12 FF";
const std::string kWhereZoom = "81 09 04 47 FF";

/// Times in ms; a byte takes 1.04 ms each way at 9600 bit/s.
std::string talk(const Faults& faults, const std::vector<Send>& sends, unsigned bitRate = 9600)
{
    CameraModel camera(faults);
    return model_talk::talk(&camera, bitRate, quill::milliseconds(1), sends);
}

struct Case
{
    const char* name;
    std::vector<Send> sends;
    const char* replies;
};

void check(const std::vector<Case>& cases)
{
    for (const Case& c : cases) EXPECT_EQ(talk({}, c.sends), c.replies) << c.name;
}

TEST(CameraModel, AnswersAtThePaceOfTheLine)
{
    check({
        {"handshake", {{0, kAddressSet}, {20, kClear}}, "8: 88 30 02 FF, 30: 88 01 00 01 FF"},
        {"in turns", {{0, kAddressSet + " 81 01 00 01 FF"}}, "8: 88 30 02 FF, 12: 90 50 FF"},
        {"a packet in two writes", {{0, "88 30"}, {50, "01 FF"}}, "56: 88 30 02 FF"},
        {"unknown command", {{0, "81 01 7E 01 FF"}}, "9: 90 60 02 FF"},
        {"other camera", {{0, "82 09 04 47 FF"}}, ""},
        {"noise, then a packet", {{0, "00 FF " + kAddressSet}}, "10: 88 30 02 FF"},
    });
}

TEST(CameraModel, AcknowledgesAtOnceAndCompletesWhenTheMotionEnds)
{
    check({
        {"pan 100 steps at 1000 a second", {{0, kMove}}, "18: 90 41 FF, 118: 90 51 FF"},
        {"two sockets, then full",
         {{0, kFarMove}, {30, kZoom}, {60, kMove}},
         "18: 90 41 FF, 42: 90 42 FF, 79: 90 60 03 FF, 1042: 90 52 FF, 2018: 90 51 FF"},
        {"stop ends the move",
         {{0, kFarMove}, {100, "81 01 06 01 01 01 03 03 FF"}},
         "18: 90 41 FF, 112: 90 51 FF, 115: 90 41 FF, 118: 90 51 FF"},
        {"by 100, -20 and back by half of it",
         {{0, "81 01 06 03 14 14 00 00 06 04 0F 0F 0E 0C FF"},
          {200, "81 01 06 03 14 14 0F 0F 0C 0E 00 00 00 0A FF"},
          {400, kWhere}},
         "18: 90 41 FF, 118: 90 51 FF, 218: 90 41 FF, 268: 90 51 FF, "
         "416: 90 50 00 00 03 02 0F 0F 0F 06 FF"},
    });
}

TEST(CameraModel, RefusesWhatItCannotDo)
{
    const char* const refused = "19: 90 61 41 FF";
    check({
        {"pan 2268", {{0, "81 01 06 02 14 14 00 08 0D 0C 00 00 00 00 FF"}}, refused},
        {"tilt -401", {{0, "81 01 06 02 14 14 00 00 00 00 0F 0E 06 0F FF"}}, refused},
        {"pan speed 19h", {{0, "81 01 06 02 19 14 00 00 00 00 00 00 00 00 FF"}}, refused},
        {"zoom 4001h", {{0, "81 01 04 47 04 00 00 01 FF"}}, "13: 90 61 41 FF"},
    });
}

TEST(CameraModel, DrivesUntilItIsStopped)
{
    check({
        {"left at 500 a second and up at 250, 489.6 ms; its mode under way",
         {{0, "81 01 06 01 0A 05 01 01 FF"},
          {300, "81 09 06 10 FF"},
          {490, "81 01 06 01 0A 05 03 03 FF"},
          {600, kWhere}},
         "12: 90 41 FF, 15: 90 51 FF, 310: 90 50 24 00 FF, 502: 90 41 FF, 505: 90 51 FF, "
         "616: 90 50 0F 0F 00 0B 00 00 07 0B FF"},
        {"right and down to the limits",
         {{0, "81 01 06 01 18 14 02 02 FF"}, {5000, kWhere}, {5100, "81 09 06 10 FF"}},
         "12: 90 41 FF, 15: 90 51 FF, 5016: 90 50 00 08 0D 0B 0F 0E 07 00 FF, "
         "5110: 90 50 28 00 FF"},
        {"tele at 4096 a second, wide at 2048, stop",
         {{0, "81 01 04 07 02 FF"},
          {500, "81 01 04 07 31 FF"},
          {750, "81 01 04 07 00 FF"},
          {900, kWhereZoom}},
         "9: 90 41 FF, 12: 90 51 FF, 509: 90 41 FF, 512: 90 51 FF, 759: 90 41 FF, 762: 90 51 FF, "
         "912: 90 50 00 06 00 00 FF"},
        {"no such directions",
         {{0, "81 01 06 01 0A 0A 01 04 FF"}, {100, "81 01 04 07 28 FF"}},
         "13: 90 60 02 FF, 110: 90 60 02 FF"},
    });
}

TEST(CameraModel, TellsWhatClientsAskAtTheStart)
{
    check({
        {"power", {{0, "81 09 04 00 FF"}}, "9: 90 50 02 FF"},
        {"version", {{0, "81 09 00 02 FF"}}, "15: 90 50 00 00 00 00 01 00 02 FF"},
        {"focus position", {{0, "81 09 04 48 FF"}}, "12: 90 50 01 00 00 00 FF"},
        {"focus mode", {{0, "81 09 04 38 FF"}}, "9: 90 50 02 FF"},
        {"highest speeds", {{0, "81 09 06 11 FF"}}, "10: 90 50 18 14 FF"},
    });
}

TEST(CameraModel, TellsItsPositionAtAnyMomentOfAMotion)
{
    check({
        {"under way: asked at 1015.2 ms, 999.6 ms and 499.8 steps after the start",
         {{0, kFarMove}, {1010, kWhere}},
         "18: 90 41 FF, 1026: 90 50 00 01 0F 04 00 00 00 00 FF, 2018: 90 51 FF"},
        {"zoom cancelled at 508.1 ms, 498.75 ms after the start",
         {{0, kZoom}, {505, kCancel}, {700, kWhereZoom}},
         "12: 90 41 FF, 512: 90 61 04 FF, 712: 90 50 00 0F 0F 06 FF"},
        {"re-home by the lower limits, asked 5.8 ms after the turn",
         {{0, "81 01 06 05 FF"}, {1895, kWhere}},
         "8: 90 41 FF, 1911: 90 50 0F 07 02 0C 00 00 00 00 FF, 3786: 90 51 FF"},
    });
}

TEST(CameraModel, ShowsItsFaults)
{
    const std::vector<Send> clear = {{0, kClear}};
    const std::vector<Send> move = {{0, kMove}};
    const std::vector<Send> zooms = {{0, kZoom}, {100, kMove}};
    const Case cases[] = {
        {"camera.silent", clear, ""},
        {"camera.slow=300", clear, "310: 88 01 00 01 FF"},
        {"camera.late-ack", zooms,
         "3112: 90 41 FF, 3115: 90 42 FF, 3212: 90 52 FF, 4112: 90 51 FF"},
        {"camera.noise", clear, "11: 5C 88 01 00 01 FF"},
        {"camera.noise=2", clear, "12: F6 5C 88 01 00 01 FF"},
        {"camera.echo", clear, "5: 88 01 00 01 FF, 10: 88 01 00 01 FF"},
        {"camera.split", {{0, kAddressSet}}, "15: 88, 26: 30, 37: 02, 48: FF"},
        {"camera.cut=2", move, "18: 90 41 FF, 117: 90 51"},
        {"camera.stale", {}, "3: 90 51 FF, 6: 90 38 FF"},
        {"camera.stray-error=100", clear, "10: 88 01 00 01 FF, 109: 90 62 04 FF"},
        {"camera.refuse", move, "19: 90 61 41 FF"},
        {"camera.refuse-taken=40",
         {{0, kMove}, {100, kWhere}, {200, kZoom}},
         "18: 90 41 FF, 59: 90 61 41 FF, 116: 90 50 00 00 02 08 0F 0F 0E 0C FF, 212: 90 41 FF, "
         "1212: 90 51 FF"},
        {"camera.refuse-inquiries", {{0, kWhereZoom}}, "9: 90 60 41 FF"},
        {"camera.standby",
         {{0, kMove}, {50, "81 01 04 00 02 FF"}, {100, kMove}},
         "19: 90 61 41 FF, 59: 90 41 FF, 62: 90 51 FF, 118: 90 41 FF, 218: 90 51 FF"},
        {"camera.buffer-full=1", zooms, "13: 90 60 03 FF, 118: 90 41 FF, 218: 90 51 FF"},
        {"camera.refuse-address", {{0, kAddressSet}}, "8: 90 60 02 FF"},
        {"camera.ack-address", {{0, kAddressSet}}, "7: 90 41 FF"},
        {"camera.ignore-address", {{0, kAddressSet}, {9, kWhereZoom}}, "21: 90 50 00 00 00 00 FF"},
        {"camera.refuse-clear=30", clear, "39: 90 60 02 FF"},
        {"camera.ignore-clear", clear, ""},
        {"camera.no-ack", move, "118: 90 51 FF"},
        {"camera.one-socket", zooms, "12: 90 41 FF, 118: 90 41 FF, 218: 90 51 FF, 1012: 90 51 FF"},
        {"camera.other-address", move, "18: A0 41 FF, 118: A0 51 FF"},
        {"camera.high-nibbles=1",
         {{0, kWhereZoom}, {50, kWhereZoom}},
         "12: 90 50 30 30 30 30 FF, 62: 90 50 00 00 00 00 FF"},
        {"camera.at-38400", clear, ""},
        {"camera.stuck",
         {{0, kMove}, {200, kWhere}},
         "18: 90 41 FF, 118: 90 51 FF, 216: 90 50 00 00 00 00 00 00 00 00 FF"},
        {"camera.restless", {{0, kWhereZoom}}, "12: 90 50 00 00 00 01 FF"},
        {"camera.unplug=0.1", move, "18: 90 41 FF"},
        {"camera.unplug-on-move=50", {{200, kMove}}, "218: 90 41 FF"},
    };
    for (const Case& c : cases) EXPECT_EQ(talk({c.name}, c.sends), c.replies) << c.name;
    EXPECT_EQ(talk({"camera.at-38400"}, clear, 38400), "2: 88 01 00 01 FF");
}

TEST(AsHeard, AtAnotherBitRateIsRubbish)
{
    const Bytes ack = {0x90, 0x41, 0xFF};
    EXPECT_EQ(asHeard(ack, 9600, 9800), ack);
    // Start bit, 0000, 1, 00, 1, stop bit, each heard four times: three bytes without a stop bit.
    EXPECT_EQ(asHeard({0x90}, 9600, 38400), (Bytes{0x00, 0x00, 0x00, 0xFC}));
    // One bit in four of 0 0000 1001 1, 0 1000 0010 1, 0 1111 1111 1.
    EXPECT_EQ(asHeard(ack, 38400, 9600), (Bytes{0xF0}));
}

// The thread that runs the model wakes when it can; what happens must not depend on it.
TEST(CameraModel, DoesTheSameHoweverOftenItIsLookedAt)
{
    const Faults faults{"camera.noise", "camera.split", "camera.slow=20", "camera.stale"};
    const std::vector<Send> sends = {{0, kFarMove}, {5, kZoom}, {300, kWhere}, {310, "81 22 FF"}};
    std::vector<Send> looks;
    for (int64_t ms = 0; ms <= 4000; ++ms) {
        looks.push_back({ms, ""});
        for (const Send& send : sends)
            if (send.at == ms) looks.push_back(send);
    }
    EXPECT_EQ(talk(faults, looks), talk(faults, sends));
}

TEST(Faults, NamesTheCulpritAndTheNearestFault)
{
    const std::pair<const char*, const char*> cases[] = {
        {"camera.unplug=0.5", "taken"},
        {"servos.stuck=254",
         "bad value in 'servos.stuck=254', it must be a number from 0 to 253: servos.stuck[=ID]"},
        {"camera.slo=3", "unknown fault 'camera.slo', the nearest is camera.slow=MS"},
        {"noise", "unknown fault 'noise', the nearest is camera.noise[=N]"},
        {"camera.slow", "fault 'camera.slow' needs a value: camera.slow=MS"},
        {"camera.echo=1", "fault 'camera.echo' takes no value"},
    };
    for (const auto& [text, message] : cases)
        EXPECT_EQ(Faults().add(text).value_or("taken"), message);
    for (const char* bad : {"camera.slow=3x", "camera.slow=9999999999999999999", "camera.cut=0"})
        EXPECT_EQ(Faults().add(bad).value_or("taken").find("bad value"), 0U) << bad;
}

}  // namespace
