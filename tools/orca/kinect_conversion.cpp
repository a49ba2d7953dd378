#include "kinect_conversion.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace
{

constexpr size_t kWideBytes = 4;  ///< of a frame's pixel
constexpr size_t kChannels = 3;

uint32_t loadColour(const unsigned char* pixel)
{
    uint32_t word = 0;
    std::memcpy(&word, pixel, sizeof word);
    return word & 0xFFFFFF;
}

/// Four pixels of a row, written in reverse as three words. Byte for byte it takes four times as
/// long.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the words are put together low byte first");
void reverseFour(const unsigned char* from, unsigned char* to)
{
    const uint32_t first = loadColour(from + 3 * kWideBytes);
    const uint32_t second = loadColour(from + 2 * kWideBytes);
    const uint32_t third = loadColour(from + kWideBytes);
    const uint32_t fourth = loadColour(from);
    const uint32_t words[] = {first | second << 24, second >> 8 | third << 16,
                              third >> 16 | fourth << 8};
    std::memcpy(to, words, sizeof words);
}

/// @param end  behind the row's last pixel, which comes first in the image
void reverseColourRow(const unsigned char* end, size_t bytesPerPixel, size_t width,
                      unsigned char* to)
{
    if (bytesPerPixel == kWideBytes)
        for (; width >= 4; width -= 4, to += 4 * kChannels) {
            end -= 4 * kWideBytes;
            reverseFour(end, to);
        }
    for (; width > 0; --width, to += kChannels) {
        end -= bytesPerPixel;
        std::memcpy(to, end, kChannels);
    }
}

uint8_t brightness(const unsigned char* pixel)
{
    float intensity = 0;
    std::memcpy(&intensity, pixel, sizeof intensity);
    // Written so that NaN takes the way of the negative ones. In double precision: in single, the
    // root of the value just below a square is rounded up to a whole number.
    const double low = intensity > 0 ? intensity : 0.0;
    const double limited = low < 255.0 * 255.0 ? low : 255.0 * 255.0;
    return static_cast<uint8_t>(std::sqrt(limited));
}

cv::Mat newImage(const libfreenect2::Frame& frame, int type)
{
    return cv::Mat(static_cast<int>(frame.height), static_cast<int>(frame.width), type);
}

}  // namespace

void kinectRGBToOpenCV(const libfreenect2::Frame& frame, cv::Mat* image)
{
    *image = newImage(frame, CV_8UC3);
    const size_t rowBytes = frame.width * frame.bytes_per_pixel;
    for (size_t row = 0; row < frame.height; ++row)
        reverseColourRow(frame.data + (row + 1) * rowBytes, frame.bytes_per_pixel, frame.width,
                         image->ptr(static_cast<int>(row)));
}

void kinectIRToOpenCV(const libfreenect2::Frame& frame, cv::Mat* image)
{
    *image = newImage(frame, CV_8UC1);
    const size_t rowBytes = frame.width * frame.bytes_per_pixel;
    for (size_t row = 0; row < frame.height; ++row) {
        const unsigned char* from = frame.data + (row + 1) * rowBytes - frame.bytes_per_pixel;
        uint8_t* const to = image->ptr(static_cast<int>(row));
        for (size_t column = 0; column < frame.width; ++column, from -= sizeof(float))
            to[column] = brightness(from);
    }
}
