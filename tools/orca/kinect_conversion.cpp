#include "tools/orca/kinect_conversion.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>

namespace
{

/// The old content goes first, so that its memory can serve again where nobody else holds it.
void renew(const libfreenect2::Frame& frame, int type, cv::Mat* image)
{
    image->release();
    image->create(static_cast<int>(frame.height), static_cast<int>(frame.width), type);
}

/// The frame's pixels as an image that does not own them.
cv::Mat pixelsOf(const libfreenect2::Frame& frame, int type)
{
    return {static_cast<int>(frame.height), static_cast<int>(frame.width), type, frame.data};
}

/// In double precision the root of a float just below a square stays below the whole number.
uint8_t brightness(float intensity)
{
    if (!(intensity > 0)) return 0;  // NaN goes the way of the negative ones
    constexpr double kFullIntensity = 255.0 * 255.0;
    return static_cast<uint8_t>(std::sqrt(std::min<double>(intensity, kFullIntensity)));
}

}  // namespace

void kinectRGBToOpenCV(const libfreenect2::Frame& frame, cv::Mat* image)
{
    renew(frame, CV_8UC3, image);
    const cv::Mat whole = pixelsOf(frame, CV_8UC4);
    // Some rows at a time, which are still in the cache when their fourth bytes are dropped.
    constexpr int kRowsAtOnce = 16;
    cv::Mat mirrored;
    for (int row = 0; row < whole.rows; row += kRowsAtOnce) {
        const cv::Range rows(row, std::min(row + kRowsAtOnce, whole.rows));
        cv::flip(whole.rowRange(rows), mirrored, 1);
        cv::cvtColor(mirrored, image->rowRange(rows), cv::COLOR_BGRA2BGR);
    }
}

void kinectIRToOpenCV(const libfreenect2::Frame& frame, cv::Mat* image)
{
    renew(frame, CV_8UC1, image);
    const cv::Mat_<float> whole = pixelsOf(frame, CV_32FC1);
    for (int row = 0; row < whole.rows; ++row)
        std::transform(std::make_reverse_iterator(whole[row] + whole.cols),
                       std::make_reverse_iterator(whole[row]), image->ptr(row), brightness);
}
