#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "tools/orca/kinect_conversion.h"
#include "tools/rigsim/kinect_model.h"

// Frames of the sensor's size to images, each in new memory as the command kinect has them.

namespace
{

using quill::kinect::MessageKind;

/// A frame on the pixels of the simulated sensor.
class ModelFrame
{
  public:
    explicit ModelFrame(MessageKind kind)
        : m_sent(rigsim::KinectModel().frame(kind, 1)),
          m_frame(m_sent.header.width, m_sent.header.height, m_sent.header.bytesPerPixel,
                  m_sent.pixels.data())
    {}
    const libfreenect2::Frame& frame() const { return m_frame; }
    size_t bytes() const { return m_sent.pixels.size(); }

  private:
    rigsim::KinectFrame m_sent;
    libfreenect2::Frame m_frame;
};

void convertColour(benchmark::State& state)
{
    const ModelFrame colour(MessageKind::Colour);
    cv::Mat image;
    for (auto _ : state) kinectRGBToOpenCV(colour.frame(), &image);
    benchmark::DoNotOptimize(image.data);
}
BENCHMARK(convertColour);

void copyColourFrame(benchmark::State& state)
{
    const ModelFrame colour(MessageKind::Colour);
    std::vector<unsigned char> copy(colour.bytes());
    for (auto _ : state) {
        std::memcpy(copy.data(), colour.frame().data, colour.bytes());
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(copyColourFrame);

void flipColourFrame(benchmark::State& state)
{
    const ModelFrame colour(MessageKind::Colour);
    const cv::Mat whole(1080, 1920, CV_8UC4, colour.frame().data);
    cv::Mat flipped;
    for (auto _ : state) cv::flip(whole, flipped, 1);
    benchmark::DoNotOptimize(flipped.data);
}
BENCHMARK(flipColourFrame);

void convertInfrared(benchmark::State& state)
{
    const ModelFrame infrared(MessageKind::Infrared);
    cv::Mat image;
    for (auto _ : state) kinectIRToOpenCV(infrared.frame(), &image);
    benchmark::DoNotOptimize(image.data);
}
BENCHMARK(convertInfrared);

}  // namespace
