#include "tools/rigsim/kinect_model.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace rigsim
{
namespace
{

using quill::seconds;
using quill::kinect::kBytesPerPixel;
using quill::kinect::MessageKind;
using quill::kinect::PixelFormat;

constexpr int64_t kFramesPerSecond = 30;
constexpr uint32_t kNumberBits = 32;
constexpr float kMaxIntensity = 65535;

/// The sizes of what both pictures show, in pixels.
struct Layout
{
    uint32_t width, height;
    uint32_t markCell = height / 18;    // the letter is 5 x 7 cells in the middle
    uint32_t square = width / 48;       // a side
    uint32_t pitch = square * 5 / 4;    // from square to square
    uint32_t squaresLeft = square * 2;  // of the first one
    uint32_t squaresTop = height - square * 2;
};

Layout layoutOf(MessageKind kind)
{
    return kind == MessageKind::Colour ? Layout{1920, 1080} : Layout{512, 424};
}

bool isMark(const Layout& layout, uint32_t x, uint32_t y)
{
    static constexpr const char* kLetter[] = {"#####", "#....", "#....", "####.",
                                              "#....", "#....", "#...."};
    // Unsigned: what is left of the letter or above it comes out far on the other side.
    const uint32_t column = (x - (layout.width - 5 * layout.markCell) / 2) / layout.markCell;
    const uint32_t row = (y - (layout.height - 7 * layout.markCell) / 2) / layout.markCell;
    return column < 5 && row < 7 && kLetter[row][column] == '#';
}

struct Colour
{
    uint8_t blue, green, red;
    uint8_t unused = 0x5A;
};

// Each quarter is of one colour, brighter to the right and darker downwards.
Colour colourAt(const Layout& layout, uint32_t x, uint32_t y)
{
    if (isMark(layout, x, y)) return {255, 255, 255};
    const auto bright = static_cast<uint8_t>(100 + x * 150 / layout.width);
    const auto dark = static_cast<uint8_t>(60 - y * 60 / layout.height);
    const bool isLeft = x < layout.width / 2;
    if (y < layout.height / 2) return isLeft ? Colour{0, dark, bright} : Colour{dark, bright, 0};
    return isLeft ? Colour{bright, 0, dark} : Colour{bright, bright, bright};
}

float intensityAt(const Layout& layout, uint32_t x, uint32_t y)
{
    if (isMark(layout, x, y)) return kMaxIntensity;
    const float root = 256.0F * static_cast<float>(x) / static_cast<float>(layout.width - 1);
    const float half = y < layout.height / 2 ? root : root / 2;
    return std::min(half * half, kMaxIntensity);
}

/// A picture of `pixelAt(layout, x, y)`, 4 bytes each, mirrored.
template <typename PixelAt>
Bytes picture(MessageKind kind, PixelAt pixelAt)
{
    const Layout layout = layoutOf(kind);
    Bytes pixels(size_t{layout.width} * layout.height * kBytesPerPixel);
    uint8_t* to = pixels.data();
    for (uint32_t y = 0; y < layout.height; ++y)
        for (uint32_t x = layout.width; x-- > 0; to += kBytesPerPixel) {
            const auto pixel = pixelAt(layout, x, y);
            static_assert(sizeof pixel == kBytesPerPixel);
            std::memcpy(to, &pixel, sizeof pixel);
        }
    return pixels;
}

void drawNumber(MessageKind kind, uint32_t number, Bytes* pixels)
{
    const Layout layout = layoutOf(kind);
    for (uint32_t bit = 0; bit < kNumberBits; ++bit) {
        const bool isSet = (number >> bit & 1) != 0;
        std::array<uint8_t, kBytesPerPixel> pixel{};
        if (isSet && kind == MessageKind::Colour) pixel.fill(255);
        if (isSet && kind == MessageKind::Infrared)
            std::memcpy(pixel.data(), &kMaxIntensity, sizeof kMaxIntensity);
        for (uint32_t y = 0; y < layout.square; ++y) {
            const size_t left = layout.squaresLeft + bit * layout.pitch;
            uint8_t* to =
                &(*pixels)[((layout.squaresTop + y) * layout.width + left) * kBytesPerPixel];
            for (uint32_t x = 0; x < layout.square; ++x, to += kBytesPerPixel)
                std::copy(pixel.begin(), pixel.end(), to);
        }
    }
}

void swapRedAndBlue(Bytes* pixels)
{
    for (size_t i = 0; i < pixels->size(); i += kBytesPerPixel)
        std::swap((*pixels)[i], (*pixels)[i + 2]);
}

}  // namespace

KinectModel::KinectModel(const Faults& faults)
    : m_faults(faults),
      m_colour(picture(MessageKind::Colour, colourAt)),
      m_infrared(picture(MessageKind::Infrared, intensityAt))
{}

KinectFrame KinectModel::frame(Kind kind, uint32_t number) const
{
    const bool isColour = kind == MessageKind::Colour;
    const bool isRGBX = isColour && m_faults.has("kinect.rgbx");
    const PixelFormat format = isRGBX     ? PixelFormat::RGBX
                               : isColour ? PixelFormat::BGRX
                                          : PixelFormat::Float;
    const Layout layout = layoutOf(kind);
    KinectFrame frame = {frameHeader(kind, layout.width, layout.height, format),
                         isColour ? m_colour : m_infrared};
    frame.header.sequence = number;
    // As the sensor's own, this wraps after some days.
    frame.header.timestamp = static_cast<uint32_t>(dueTime(number).nanoseconds() /
                                                   quill::microseconds(100).nanoseconds());
    drawNumber(kind, number, &frame.pixels);
    if (isRGBX) swapRedAndBlue(&frame.pixels);
    if (m_faults.has("kinect.damaged") && number % 2 == 1) {
        frame.header.status = 1;
        std::fill(frame.pixels.begin(), frame.pixels.end(), uint8_t{0x33});
    }
    return frame;
}

uint32_t KinectModel::newestFrame(Duration sinceStart) const
{
    const Duration sinceFirst = sinceStart - m_faults.span("kinect.slow").value_or(Duration());
    if (sinceFirst < Duration()) return 0;
    return static_cast<uint32_t>(sinceFirst.nanoseconds() * kFramesPerSecond /
                                 seconds(1).nanoseconds());
}

Duration KinectModel::dueTime(uint32_t number) const
{
    // Rounded up: a frame is there at its due time.
    const int64_t ns = (seconds(number).nanoseconds() + kFramesPerSecond - 1) / kFramesPerSecond;
    return Duration(ns) + m_faults.span("kinect.slow").value_or(Duration());
}

bool KinectModel::hasFrames(Kind kind) const
{
    return !m_faults.has(kind == MessageKind::Colour ? "kinect.no-colour" : "kinect.no-infrared");
}

PixelPosition numberSquare(MessageKind kind, uint32_t bit)
{
    const Layout layout = layoutOf(kind);
    return {layout.squaresLeft + bit * layout.pitch + layout.square / 2,
            layout.squaresTop + layout.square / 2};
}

}  // namespace rigsim
