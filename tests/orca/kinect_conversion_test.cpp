#include "tools/orca/kinect_conversion.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace
{

using libfreenect2::Frame;

cv::Mat convert(void (*conversion)(const Frame&, cv::Mat*), size_t width, size_t height,
                unsigned char* pixels)
{
    cv::Mat image;
    const Frame frame(width, height, 4, pixels);
    conversion(frame, &image);
    EXPECT_EQ(image.rows, static_cast<int>(height));
    EXPECT_EQ(image.cols, static_cast<int>(width));
    return image;
}

TEST(KinectColour, IsMirroredLeftToRightAndLosesTheFourthByte)
{
    std::minstd_rand random(1);
    // Around the blocks of 16 pixels and 16 rows that are converted at a time, and the sensor's own
    // size.
    const std::pair<size_t, size_t> sizes[] = {{1, 1},    {2, 3},      {15, 15}, {16, 16},
                                               {17, 17},  {33, 32},    {63, 33}, {67, 2},
                                               {1919, 1}, {1920, 1080}};
    for (const auto& [width, height] : sizes) {
        std::vector<unsigned char> pixels(width * height * 4);
        for (auto& byte : pixels) byte = static_cast<unsigned char>(random());
        const cv::Mat image = convert(kinectRGBToOpenCV, width, height, pixels.data());
        ASSERT_EQ(image.type(), CV_8UC3);
        size_t wrong = 0;
        for (size_t row = 0; row < height; ++row)
            for (size_t column = 0; column < width; ++column)
                wrong += std::memcmp(image.ptr(static_cast<int>(row)) + column * 3,
                                     &pixels[(row * width + width - 1 - column) * 4], 3) != 0;
        EXPECT_EQ(wrong, 0U) << width << " x " << height;
    }
}

/// The image of a frame of one row, in the frame's order.
std::vector<int> brightness(std::vector<float> row)
{
    auto* const bytes = reinterpret_cast<unsigned char*>(row.data());
    const cv::Mat image = convert(kinectIRToOpenCV, row.size(), 1, bytes);
    EXPECT_EQ(image.type(), CV_8UC1);
    std::vector<int> found(row.size());
    for (int i = 0; i < image.cols; ++i)
        found[row.size() - 1 - static_cast<size_t>(i)] = image.at<uint8_t>(0, i);
    return found;
}

TEST(KinectInfrared, IsTheSquareRootCutOffForEveryFloat)
{
    using Limits = std::numeric_limits<float>;
    const float inf = Limits::infinity();
    EXPECT_THAT(brightness({0, 1, 4, 99.99F, 100, 65535, -1, Limits::quiet_NaN()}),
                testing::ElementsAre(0, 1, 2, 9, 10, 255, 0, 0));
    EXPECT_THAT(brightness({inf, -inf, Limits::max(), Limits::lowest(), Limits::min(),
                            Limits::denorm_min(), -0.0F, -Limits::quiet_NaN()}),
                testing::ElementsAre(255, 0, 255, 0, 0, 0, 0, 0));
    // All in one row, so that each stands somewhere in a block of a vectorised loop or behind it.
    std::vector<float> row;
    std::vector<int> roots;
    for (int root = 1; root <= 256; ++root) {
        const auto square = static_cast<float>(root * root);
        row.insert(row.end(), {square, std::nextafter(square, 0.0F), std::nextafter(square, inf)});
        const int full = std::min(root, 255);
        roots.insert(roots.end(), {full, std::min(root - 1, 255), full});
    }
    EXPECT_EQ(brightness(row), roots);
}

TEST(KinectInfrared, KeepsRowsInOrderAndMirrorsEach)
{
    std::vector<float> pixels;
    for (int i = 0; i < 6; ++i) pixels.push_back(static_cast<float>(i * i));
    auto* const bytes = reinterpret_cast<unsigned char*>(pixels.data());
    const cv::Mat image = convert(kinectIRToOpenCV, 2, 3, bytes);
    EXPECT_THAT(std::vector<uint8_t>(image.begin<uint8_t>(), image.end<uint8_t>()),
                testing::ElementsAre(1, 0, 3, 2, 5, 4));
}

TEST(KinectConversions, LeaveTheOldImageToOthersThatShareIt)
{
    for (const auto conversion : {kinectRGBToOpenCV, kinectIRToOpenCV})
        for (const int type : {CV_8UC1, CV_8UC3}) {
            cv::Mat image(2, 2, type, cv::Scalar::all(7));  // of the very size and type
            const cv::Mat shared = image;
            unsigned char pixels[16] = {};
            conversion(Frame(2, 2, 4, pixels), &image);
            EXPECT_NE(image.data, shared.data);
            const size_t bytes = shared.total() * shared.elemSize();
            EXPECT_EQ(std::count(shared.data, shared.data + bytes, 7), static_cast<long>(bytes));
        }
}

}  // namespace
