#include <gmock/gmock.h>

#include <algorithm>

#include "scripted_camera.h"

// Which reply answers what, on a scripted line and on the fake clock.

namespace quill
{
namespace
{

using namespace scripted_camera;
using testing::ElementsAre;
using testing::HasSubstr;

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
