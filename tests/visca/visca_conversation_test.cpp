#include <gmock/gmock.h>

#include <algorithm>

#include "devices/visca/visca_camera.h"
#include "support/fake_clock.h"
#include "support/log_capture.h"
#include "support/scripted_line.h"

// Which reply answers what, on a scripted line and on the fake clock.

namespace quill
{
namespace
{

using support::Answer;
using support::Bytes;
using support::line;
using testing::ElementsAre;
using testing::HasSubstr;

const Bytes kOpening = {0x88, 0x30, 0x01, 0xFF, 0x88, 0x01, 0x00, 0x01, 0xFF};
const Bytes kZoomInquiry = {0x81, 0x09, 0x04, 0x47, 0xFF};
const Bytes kAddress2 = {0x88, 0x30, 0x02, 0xFF};
const Bytes kCleared = {0x88, 0x01, 0x00, 0x01, 0xFF};
const Bytes kAcknowledge1 = {0x90, 0x41, 0xFF};
const Bytes kAcknowledge2 = {0x90, 0x42, 0xFF};
const Bytes kCompletion1 = {0x90, 0x51, 0xFF};
const Bytes kCompletion2 = {0x90, 0x52, 0xFF};
const Bytes kNetworkChange = {0x90, 0x38, 0xFF};
const Bytes kSyntaxError = {0x90, 0x60, 0x02, 0xFF};
const Bytes kNotExecutable = {0x90, 0x60, 0x41, 0xFF};
const Bytes kNotExecutable1 = {0x90, 0x61, 0x41, 0xFF};
const Bytes kCancelled1 = {0x90, 0x61, 0x04, 0xFF};
const Bytes kPanTilt = {0x90, 0x50, 0, 0, 6, 4, 0xF, 0xF, 0xE, 0xC, 0xFF};  // 100, -20
const Bytes kHighPanTilt = {0x90, 0x50, 0x10, 0, 6, 4, 0xF, 0xF, 0xE, 0xC, 0xFF};
const Bytes kZoom = {0x90, 0x50, 0, 0, 0, 3, 0xFF};

constexpr Duration kTimeout = seconds(5);
constexpr Duration kDoubtGrace = milliseconds(150);

/// Replies to one request, 1 ms apart.
Answer replies(const std::vector<Bytes>& packets)
{
    Answer answer;
    for (const Bytes& packet : packets) answer.push_back({packet});
    return answer;
}

struct Opened
{
    std::shared_ptr<VISCACamera> camera;
    std::vector<std::string> log;
    Duration took;
};

/// Opens the camera; each entry of `script` is what comes back for one request.
Opened openAs(const std::vector<std::vector<Bytes>>& script)
{
    line() = {};
    for (const auto& entry : script) line().script.push_back(replies(entry));
    support::LogCapture log;
    const Time start = Time::now();
    auto camera = VISCACamera::open("/dev/camera", seconds(1));
    const Duration took = Time::now() - start;
    return {camera, log.records(), took};
}

/// A camera that answers as it should when it is opened, then as scripted.
std::shared_ptr<VISCACamera> open(std::vector<std::vector<Bytes>> script)
{
    script.insert(script.begin(), {kAddress2, kCleared});
    const Opened opened = openAs(script);
    EXPECT_THAT(opened.log, ElementsAre());
    return opened.camera;
}

TEST(ViscaOpening, FindsACameraWhateverItMakesOfAddressSet)
{
    const std::string at38400 =
        "3 visca: /dev/camera: the camera is set to 38400 bit/s: used at that (at 9600 it is found "
        "at once)";
    const struct
    {
        const char* what;
        std::vector<std::vector<Bytes>> script;
        int took_ms;
        std::vector<Bytes> sent;
        int bitRate;
    } cases[] = {
        {"answers both", {{kAddress2, kCleared}}, 2, {kOpening}, 9600},
        {"refuses clear", {{kAddress2, kSyntaxError}}, 2, {kOpening}, 9600},
        {"ignores clear", {{kAddress2}}, 1 + 200, {kOpening}, 9600},
        {"the line echoes",
         {{{0x88, 0x30, 0x01, 0xFF}, kCleared, kAddress2, kCleared}},
         4,
         {kOpening},
         9600},
        {"something stray is there",
         {{kCompletion1, kNetworkChange, kAddress2, kCleared}},
         4 + 20,
         {kOpening},
         9600},
        {"noise behind",
         {{kAddress2, {0x88, 0x01, 0x00, 0x01, 0xFF, 0x90}}},
         2 + 20,
         {kOpening},
         9600},
        {"refuses address set",
         {{kSyntaxError, kCleared}, {kZoom}},
         2,
         {kOpening, kZoomInquiry},
         9600},
        {"acknowledges address set",
         {{kAcknowledge1}, {kCleared, kZoom}},
         3,
         {kOpening, kZoomInquiry},
         9600},
        {"knows inquiries only",
         {{}, {}, {kZoom}},
         150 + 1 + 20,
         {kOpening, kOpening, kZoomInquiry},
         9600},
        {"at 38400 bit/s",
         {{}, {}, {}, {kAddress2, kCleared, kZoom}},
         300 + 3 + 20,
         {kOpening, kOpening, kZoomInquiry, kOpening, kZoomInquiry},
         38400},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const Opened opened = openAs(c.script);
        EXPECT_NE(opened.camera, nullptr);
        EXPECT_EQ(opened.took, milliseconds(c.took_ms));
        EXPECT_EQ(line().sent, c.sent);
        EXPECT_EQ(line().bitRate, c.bitRate);
        EXPECT_EQ(opened.log, c.bitRate == 9600 ? std::vector<std::string>{}
                                                : std::vector<std::string>{at38400});
    }
}

TEST(ViscaOpening, NamesWhatCameWhereItIsOfNoUse)
{
    const struct
    {
        Bytes usual;
        const char* reason;
    } cases[] = {
        {{}, "no answer"},
        {kSyntaxError,
         "no answer of use, what came ends with 90 60 02 FF 90 60 02 FF 90 60 02 FF "
         "90 60 02 FF"},
        {{0x00, 0x80},
         "no answer of use, what came ends with 00 80 00 80 00 80 00 80 00 80 00 80 00 "
         "80"},
    };
    for (const auto& c : cases) {
        line() = {};
        if (!c.usual.empty()) line().usual = replies({c.usual});
        support::LogCapture log;
        const Time start = Time::now();
        EXPECT_EQ(VISCACamera::open("/dev/camera", seconds(1)), nullptr);
        EXPECT_EQ(Time::now() - start, seconds(1));
        EXPECT_EQ(std::count(line().sent.begin(), line().sent.end(), kOpening), 4);
        EXPECT_THAT(log.records(),
                    ElementsAre(std::string("3 visca: /dev/camera: find the camera: ") + c.reason +
                                " (check the camera's power, cable and bit rate (9600 or 38400))"));
    }
}

class ViscaConversation : public testing::Test
{
  protected:
    int pan = 7;
    int tilt = 7;
    uint16_t zoom = 7;
};

TEST_F(ViscaConversation, InquiryTakesOnlyItsOwnReply)
{
    const struct
    {
        const char* what;
        std::vector<Bytes> reply;
    } cases[] = {
        {"alone", {kPanTilt}},
        {"behind a late completion", {kCompletion1, kPanTilt}},
        {"behind completions of both sockets and a network change",
         {kCompletion1, kCompletion2, kNetworkChange, kPanTilt}},
        {"behind errors of an earlier run's orders", {kCancelled1, kNotExecutable1, kPanTilt}},
        {"behind the late answer of another inquiry", {kZoom, kPanTilt}},
        {"behind noise", {{0x00, 0xFF, 0x13}, kPanTilt}},
        {"behind noise that makes it too long", {{0x00, 0x90, 0x13, 0x14, 0x15, 0x16}, kPanTilt}},
        {"behind its own echo", {{0x81, 0x09, 0x06, 0x12, 0xFF}, kPanTilt}},
        {"behind a damaged one", {{0x90, 0x50, 0, 0, 6, 4, 0xF, 0xF, 0xFF}, kPanTilt}},
        {"behind one with a flipped bit", {kHighPanTilt, kPanTilt}},
        {"from another address", {{0xB0, 0x50, 0, 0, 6, 4, 0xF, 0xF, 0xE, 0xC, 0xFF}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        pan = tilt = 7;
        const auto camera = open({c.reply});
        EXPECT_EQ(camera->getPanTiltPosition(&pan, &tilt, kTimeout), 0);
        EXPECT_EQ(pan, 100);
        EXPECT_EQ(tilt, -20);
    }
}

TEST_F(ViscaConversation, FailedInquiryLeavesTheOutputsAloneAndIsToldOnce)
{
    const auto camera =
        open({{}, {kSyntaxError}, {kPanTilt}, {kHighPanTilt}, {kSyntaxError}, {kNotExecutable1}});
    support::LogCapture log;
    EXPECT_EQ(camera->getPanTiltPosition(&pan, &tilt, kTimeout), VISCACamera::kNoAnswer);
    EXPECT_EQ(camera->getZoomPosition(&zoom, kTimeout), VISCACamera::kRefused);
    EXPECT_EQ(camera->getZoomPosition(&zoom, kTimeout), VISCACamera::kNoAnswer)
        << "an answer of another length";
    EXPECT_EQ(camera->getPanTiltPosition(&pan, &tilt, kTimeout), VISCACamera::kNoAnswer)
        << "bits in the high half of a nibble";
    EXPECT_EQ(camera->getZoomPosition(&zoom, kTimeout), VISCACamera::kRefused);
    EXPECT_EQ(camera->getPanTiltPosition(&pan, &tilt, kTimeout), VISCACamera::kRefused)
        << "with a socket";
    EXPECT_EQ(pan, 7);
    EXPECT_EQ(zoom, 7);
    EXPECT_THAT(
        log.records(),
        ElementsAre(HasSubstr("ask for pan and tilt: no answer (check"),
                    HasSubstr("ask for zoom: the camera refuses: syntax error: the camera "
                              "does not know the command, or a value is out of its range"),
                    HasSubstr("ask for zoom: no answer of use, what came ends with 90 50 00 00 06 "
                              "04 0F 0F 0E 0C FF (check"),
                    HasSubstr("ask for pan and tilt: the camera refuses: not executable")));
}

TEST_F(ViscaConversation, AnswerToAnInquiryThatWasGivenUpIsNotTakenForTheNext)
{
    const Bytes other = {0x90, 0x50, 0, 0, 0, 1, 0, 0, 0, 1, 0xFF};
    const auto camera = open({});
    line().script = {{}, {{other, milliseconds(60)}}, replies({kPanTilt})};
    support::LogCapture log;
    EXPECT_EQ(camera->getPanTiltPosition(&pan, &tilt, milliseconds(50)), VISCACamera::kNoAnswer);
    support::advanceClock(milliseconds(10));
    EXPECT_EQ(camera->getPanTiltPosition(&pan, &tilt, kTimeout), 0);
    EXPECT_EQ(pan, 100);
}

TEST_F(ViscaConversation, RepliesCountForTheCommandTheyBelongTo)
{
    const int refused = VISCACamera::kRefused;
    const struct
    {
        const char* what;
        std::vector<Bytes> toMove;
        std::vector<Bytes> toZoom;
        int zoomResult;
        int moveOutcome;
        Duration doubt;
    } cases[] = {
        {"completion of the move, then the zoom is refused",
         {kAcknowledge1},
         {kCompletion1, kNotExecutable1},
         refused,
         0,
         {}},
        {"both on one socket", {kAcknowledge1}, {kCompletion1, kAcknowledge1}, 0, 0, {}},
        {"socket acknowledged twice", {kAcknowledge1}, {kAcknowledge1}, 0, 0, {}},
        {"completed without acknowledgement", {kCompletion1}, {kCompletion2}, 0, 0, kDoubtGrace},
        {"a completion of an earlier run, then refused",
         {kAcknowledge1},
         {kCompletion2, kNotExecutable1},
         refused,
         0,
         kDoubtGrace},
        {"the move is refused after its acknowledgement",
         {kAcknowledge1, kNotExecutable1},
         {kAcknowledge1},
         0,
         refused,
         {}},
        {"the move is refused while the zoom is ordered",
         {kAcknowledge1},
         {kNotExecutable1, kAcknowledge2},
         0,
         refused,
         {}},
        {"the zoom is refused, with the socket of the move",
         {kAcknowledge1},
         {kNotExecutable1},
         refused,
         0,
         kDoubtGrace},
        {"the move is cancelled, the zoom refused",
         {kAcknowledge1},
         {kCancelled1, kSyntaxError},
         refused,
         refused,
         {}},
        {"only the completion of the move",
         {kAcknowledge1},
         {kCompletion1},
         VISCACamera::kNoAnswer,
         0,
         kTimeout},
        {"an answer to a late inquiry is no completion",
         {kAcknowledge1},
         {kZoom},
         VISCACamera::kNoAnswer,
         0,
         kTimeout},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const auto camera = open({c.toMove, c.toZoom});
        support::LogCapture log;
        EXPECT_EQ(camera->setPanTiltPosition(1, 2, 3, 4, kTimeout), 0);
        const Time start = Time::now();
        EXPECT_EQ(camera->setZoomPosition(1, kTimeout), c.zoomResult);
        EXPECT_LE(Time::now() - start, c.doubt + milliseconds(5));
        EXPECT_EQ(camera->panTiltOutcome(), c.moveOutcome);
        EXPECT_EQ(camera->zoomOutcome(), 0);
        const auto records = log.records();
        const std::string late = "move to pan 3, tilt 4 at speeds 1, 2: taken, then given up: the ";
        const bool isTold = !records.empty() && records[0].find(late) != std::string::npos;
        EXPECT_EQ(isTold, c.moveOutcome != 0);
    }
}

TEST_F(ViscaConversation, LateAnswersAreNotTakenByTheNextCommand)
{
    const int refused = VISCACamera::kRefused;
    const struct
    {
        const char* what;
        bool isClearAnswered;
        std::vector<Bytes> toMove;
        int moveResult;
        std::vector<Bytes> toZoom;
        int zoomResult;
        std::vector<Bytes> toInquiry;
        int inquiryResult;
    } cases[] = {
        {"refusal of clear to a move",
         false,
         {kSyntaxError, kAcknowledge1},
         0,
         {kAcknowledge2},
         0,
         {kZoom},
         0},
        {"clear is ignored, the move refused",
         false,
         {kSyntaxError},
         refused,
         {kSyntaxError},
         refused,
         {kZoom},
         0},
        {"refusals of clear and of the move",
         false,
         {kSyntaxError, kNotExecutable},
         refused,
         {kAcknowledge1},
         0,
         {kZoom},
         0},
        {"refusal of clear to an inquiry",
         false,
         {kAcknowledge1},
         0,
         {kAcknowledge2},
         0,
         {kSyntaxError, kZoom},
         0},
        {"refusals of clear and of an inquiry",
         false,
         {kAcknowledge1},
         0,
         {kAcknowledge2},
         0,
         {kSyntaxError, kNotExecutable},
         refused},
        {"acknowledgement of the move to the zoom, which is refused",
         true,
         {},
         1,
         {kAcknowledge1, kNotExecutable1},
         refused,
         {kZoom},
         0},
        {"acknowledgements of both", true, {}, 1, {kAcknowledge1, kAcknowledge2}, 0, {kZoom}, 0},
        {"refusal of the move to the zoom",
         true,
         {},
         1,
         {kNotExecutable1, kAcknowledge1},
         0,
         {kZoom},
         0},
        {"the move was lost", true, {}, 1, {kAcknowledge1}, 0, {kZoom}, 0},
        {"acknowledgement of the move to an inquiry",
         true,
         {},
         1,
         {kSyntaxError},
         refused,
         {kAcknowledge1, kZoom},
         0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<Bytes> opening = {kAddress2};
        if (c.isClearAnswered) opening.push_back(kCleared);
        const auto camera = openAs({opening, c.toMove, c.toZoom, c.toInquiry}).camera;
        support::LogCapture log;
        EXPECT_EQ(camera->setPanTiltPosition(1, 2, 3, 4, kTimeout), c.moveResult);
        EXPECT_EQ(camera->setZoomPosition(1, kTimeout), c.zoomResult);
        EXPECT_EQ(camera->getZoomPosition(&zoom, kTimeout), c.inquiryResult);
    }
}

TEST_F(ViscaConversation, RehomingWaitsForItsOwnEnd)
{
    const struct
    {
        const char* what;
        std::vector<Bytes> replies;
        int result;
    } cases[] = {
        {"its completion", {kAcknowledge2, kCompletion2}, 0},
        {"completion of another order", {kAcknowledge2, kCompletion1}, VISCACamera::kNoAnswer},
        {"another order is cancelled or refused",
         {kAcknowledge2, kCancelled1, kNotExecutable1, kCompletion2},
         0},
        {"it is refused after its acknowledgement",
         {kAcknowledge2, {0x90, 0x62, 0x41, 0xFF}},
         VISCACamera::kRefused},
        {"the same on the socket of the move",
         {kAcknowledge1, kNotExecutable1},
         VISCACamera::kRefused},
        {"and without a socket", {kAcknowledge2, kNotExecutable}, VISCACamera::kRefused},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const auto camera = open({{kAcknowledge1}, c.replies});
        support::LogCapture log;
        EXPECT_EQ(camera->setPanTiltPosition(1, 1, 1, 1, kTimeout), 0);
        EXPECT_EQ(camera->rehomePanTilt(kTimeout), c.result);
    }
}

TEST_F(ViscaConversation, FloodOfBytesDoesNotHoldItPastTheDeadline)
{
    for (const Bytes& flood : {Bytes(100, 0x55), kCompletion2, kZoom}) {
        const auto camera = open({});
        line().usual = Answer(1000, {flood, milliseconds(1)});
        support::LogCapture log;
        const Time start = Time::now();
        EXPECT_EQ(camera->getPanTiltPosition(&pan, &tilt, milliseconds(200)),
                  VISCACamera::kNoAnswer);
        EXPECT_LE(Time::now() - start, milliseconds(201));
    }
}

}  // namespace
}  // namespace quill
