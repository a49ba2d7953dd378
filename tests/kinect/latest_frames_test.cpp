#include "latest_frames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>

namespace quill
{
namespace
{

using libfreenect2::Frame;

/// Its pixels are the bytes 1, 2, 3, 4 again and again.
std::unique_ptr<Frame> frame(size_t width, size_t height, Frame::Format format)
{
    auto made = std::make_unique<Frame>(width, height, 4);
    constexpr uint32_t kPixel = 0x04030201;  // low byte first
    std::fill_n(reinterpret_cast<uint32_t*>(made->data), width * height, kPixel);
    made->format = format;
    made->sequence = 7;
    return made;
}

TEST(LatestFrames, KeepsACopyWithBlueFirst)
{
    LatestFrames frames;
    EXPECT_EQ(frames.colour(), nullptr);
    EXPECT_EQ(frames.infrared(), nullptr);
    const struct
    {
        Frame::Format format;
        unsigned char pixel[4];
    } cases[] = {{Frame::BGRX, {1, 2, 3, 4}}, {Frame::RGBX, {3, 2, 1, 4}}};
    for (const auto& c : cases) {
        const auto held = frames.colour();
        auto delivered = frame(1920, 1080, c.format);
        EXPECT_FALSE(frames.onNewFrame(Frame::Color, delivered.get()));
        delivered.reset();
        const auto latest = frames.colour();
        ASSERT_NE(latest, nullptr);
        EXPECT_NE(latest, held);
        EXPECT_EQ(latest->format, Frame::BGRX);
        EXPECT_EQ(latest->sequence, 7U);
        for (const size_t at : {size_t{0}, size_t{1920} * 1080 * 4 - 4})
            EXPECT_EQ(std::memcmp(latest->data + at, c.pixel, 4), 0);
    }
    const auto infrared = frame(512, 424, Frame::Float);
    EXPECT_FALSE(frames.onNewFrame(Frame::Ir, infrared.get()));
    EXPECT_EQ(frames.infrared()->height, 424U);
    EXPECT_EQ(frames.summary(), "2 colour and 1 infrared frames, 0 dropped");
    frames.clear();
    EXPECT_EQ(frames.colour(), nullptr);
}

TEST(LatestFrames, DropsWhatTheConversionsCannotTake)
{
    const struct
    {
        const char* what;
        Frame::Type type;
        std::function<void(Frame*)> spoil;
    } cases[] = {
        {"damaged", Frame::Color, [](Frame* f) { f->status = 1; }},
        {"without pixels", Frame::Color, [](Frame* f) { f->data = nullptr; }},
        {"too narrow", Frame::Color, [](Frame* f) { f->width = 1919; }},
        {"too low", Frame::Color, [](Frame* f) { f->height = 1; }},
        {"three bytes a pixel", Frame::Color, [](Frame* f) { f->bytes_per_pixel = 3; }},
        {"grey", Frame::Color, [](Frame* f) { f->format = Frame::Gray; }},
        {"colour as infrared", Frame::Ir, [](Frame*) {}},
        {"infrared in the wrong format", Frame::Ir,
         [](Frame* f) { f->width = 512, f->height = 424; }},
    };
    LatestFrames frames;
    for (const auto& c : cases) {
        const auto spoilt = frame(1920, 1080, Frame::BGRX);
        c.spoil(spoilt.get());
        EXPECT_FALSE(frames.onNewFrame(c.type, spoilt.get())) << c.what;
        EXPECT_EQ(frames.colour(), nullptr) << c.what;
        EXPECT_EQ(frames.infrared(), nullptr) << c.what;
    }
    EXPECT_FALSE(frames.onNewFrame(Frame::Color, nullptr));
    EXPECT_FALSE(frames.onNewFrame(Frame::Depth, frame(512, 424, Frame::Float).get()));
    EXPECT_EQ(frames.summary(), "0 colour and 0 infrared frames, 9 dropped") << "depth is none";
}

}  // namespace
}  // namespace quill
