#include <gmock/gmock.h>

#include <algorithm>

#include "scripted_camera.h"

// How a camera is found, on a scripted line and on the fake clock.

namespace quill
{
namespace
{

using namespace scripted_camera;
using testing::ElementsAre;

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

}  // namespace
}  // namespace quill
