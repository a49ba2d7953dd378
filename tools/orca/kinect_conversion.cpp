#include "kinect_conversion.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace
{

constexpr size_t kChannels = 3;

using Sixteen = uint8_t __attribute__((vector_size(16)));
constexpr size_t kWideBytes = 4;  ///< of a frame's pixel
constexpr size_t kPixelsAtOnce = 16;

Sixteen load(const unsigned char* from)
{
    Sixteen bytes;
    std::memcpy(&bytes, from, sizeof bytes);
    return bytes;
}

// Byte for byte a frame takes ten times as long as its bytes take to copy; with the byte shuffle
// that nearly every x86 has, hardly longer. The linker picks at the first call.
#ifdef __x86_64__
#define BYTE_SHUFFLE __attribute__((target_clones("ssse3", "default")))
#else
#define BYTE_SHUFFLE
#endif

/// Writes 16 pixels in reverse, as 48 bytes.
/// @param from  64 bytes, four pixels a vector
[[gnu::always_inline]] inline void reverseSixteen(const unsigned char* from, unsigned char* to)
{
    const Sixteen a = load(from + 48);
    const Sixteen b = load(from + 32);
    const Sixteen c = load(from + 16);
    const Sixteen d = load(from);
    // Numbers up to 15 are bytes of the first vector, from 16 on of the second.
    const Sixteen words[] = {
        __builtin_shufflevector(a, b, 12, 13, 14, 8, 9, 10, 4, 5, 6, 0, 1, 2, 28, 29, 30, 24),
        __builtin_shufflevector(b, c, 9, 10, 4, 5, 6, 0, 1, 2, 28, 29, 30, 24, 25, 26, 20, 21),
        __builtin_shufflevector(c, d, 6, 0, 1, 2, 28, 29, 30, 24, 25, 26, 20, 21, 22, 16, 17, 18)};
    std::memcpy(to, words, sizeof words);
}

/// @param end  behind the row's last pixel, which comes first in the image
BYTE_SHUFFLE void reverseColourRow(const unsigned char* end, size_t bytesPerPixel, size_t width,
                                   unsigned char* to)
{
    if (bytesPerPixel == kWideBytes)
        for (; width >= kPixelsAtOnce; width -= kPixelsAtOnce, to += kPixelsAtOnce * kChannels) {
            end -= kPixelsAtOnce * kWideBytes;
            reverseSixteen(end, to);
        }
    for (; width > 0; --width, to += kChannels) {
        end -= bytesPerPixel;
        std::memcpy(to, end, kChannels);
    }
}

/// The whole part of the square root as if taken in double precision, from 0 to 255.
int brightness(float intensity)
{
    constexpr float kFullIntensity = 255.0F * 255.0F;
    const float low = intensity > 0 ? intensity : 0.0F;  // NaN goes the way of the negative ones
    const float limited = low < kFullIntensity ? low : kFullIntensity;
    // In single precision the root just below a square is rounded up to the whole number; the
    // square of that, which is exact, tells.
    const int root = static_cast<int>(std::sqrt(limited));
    const bool isTooHigh = static_cast<float>(root * root) > limited;
    return root - (isTooHigh ? 1 : 0);
}

/// A fixed count, so that the compiler takes four at a time.
/// @param count  of pixels, at most kPixelsAtOnce
[[gnu::always_inline]] inline void reverseInfrared(const unsigned char* from, size_t count,
                                                   uint8_t* to)
{
    float intensities[kPixelsAtOnce];
    int roots[kPixelsAtOnce];
    std::memcpy(intensities, from, count * sizeof(float));
    for (size_t i = 0; i < count; ++i) roots[i] = brightness(intensities[i]);
    for (size_t i = 0; i < count; ++i) to[i] = static_cast<uint8_t>(roots[count - 1 - i]);
}

/// @param end  behind the row's last pixel, which comes first in the image
void reverseInfraredRow(const unsigned char* end, size_t width, uint8_t* to)
{
    for (; width >= kPixelsAtOnce; width -= kPixelsAtOnce, to += kPixelsAtOnce) {
        end -= kPixelsAtOnce * sizeof(float);
        reverseInfrared(end, kPixelsAtOnce, to);
    }
    reverseInfrared(end - width * sizeof(float), width, to);
}

/// The old content goes first, so that its memory can serve again where nobody else holds it.
void renew(const libfreenect2::Frame& frame, int type, cv::Mat* image)
{
    image->release();
    image->create(static_cast<int>(frame.height), static_cast<int>(frame.width), type);
}

}  // namespace

void kinectRGBToOpenCV(const libfreenect2::Frame& frame, cv::Mat* image)
{
    renew(frame, CV_8UC3, image);
    const size_t rowBytes = frame.width * frame.bytes_per_pixel;
    for (size_t row = 0; row < frame.height; ++row)
        reverseColourRow(frame.data + (row + 1) * rowBytes, frame.bytes_per_pixel, frame.width,
                         image->ptr(static_cast<int>(row)));
}

void kinectIRToOpenCV(const libfreenect2::Frame& frame, cv::Mat* image)
{
    renew(frame, CV_8UC1, image);
    const size_t rowBytes = frame.width * frame.bytes_per_pixel;
    for (size_t row = 0; row < frame.height; ++row)
        reverseInfraredRow(frame.data + (row + 1) * rowBytes, frame.width,
                           image->ptr(static_cast<int>(row)));
}
