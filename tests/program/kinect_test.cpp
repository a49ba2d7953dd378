#include <gmock/gmock.h>
#include <opencv2/imgcodecs.hpp>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "common/time.h"
#include "support/folder.h"
#include "support/process.h"
#include "tools/rigsim/rig.h"

// The command kinect of the built program on the simulated Kinect.

namespace
{

namespace fs = std::filesystem;

using quill::seconds;
using quill::kinect::MessageKind;
using support::Ended;
using testing::HasSubstr;
using testing::Not;

/// The pictures are in a folder of the test.
class KinectCommand : public testing::Test
{
  protected:
    KinectCommand() { setenv("PICTURES", m_folder.path().c_str(), 1); }

    const support::Folder m_folder;
    const fs::path m_colourFile = m_folder / "kinect_rgb.png";
    const fs::path m_infraredFile = m_folder / "kinect_ir.png";
};

/// The file's image, which shows the number of the frame it was made from; the frame as it was
/// sent.
struct Written
{
    cv::Mat image;
    rigsim::KinectFrame frame;
};

Written read(const fs::path& path, MessageKind kind)
{
    Written written;
    written.image = cv::imread(path, cv::IMREAD_UNCHANGED);
    uint32_t number = 0;
    for (uint32_t bit = 0; bit < 32; ++bit) {
        const auto [x, y] = rigsim::numberSquare(kind, bit);
        const int column = written.image.cols - 1 - static_cast<int>(x);
        if (column < 0) return written;
        if (*written.image.ptr(static_cast<int>(y), column) > 127) number |= 1U << bit;
    }
    EXPECT_GT(number, 0U) << "frames count from 1";
    written.frame = rigsim::KinectModel().frame(kind, number);
    return written;
}

/// The frame's pixel that belongs at a place of the mirrored image.
const uint8_t* pixelFor(const Written& written, int row, int column)
{
    const int index = row * written.image.cols + written.image.cols - 1 - column;
    return &written.frame.pixels[static_cast<size_t>(index) * 4];
}

bool isRoot(uint8_t root, const uint8_t* pixel)
{
    float intensity = 0;
    std::memcpy(&intensity, pixel, sizeof intensity);
    const auto square = [](int n) { return static_cast<float>(n * n); };
    return square(root) <= intensity && (root == 255 || intensity < square(root + 1));
}

TEST_F(KinectCommand, WritesWhatTheSensorSees)
{
    for (const char* fault : {"", "--fault kinect.rgbx", "--fault kinect.damaged"}) {
        fs::remove(m_colourFile);
        fs::remove(m_infraredFile);
        const Ended ended = support::run({"/bin/sh", "-c",
                                          RIGSIM " " + std::string(fault) +
                                              " -- /bin/sh -c 'LD_PRELOAD=" OWN_PICTURES
                                              ":$LD_PRELOAD exec " RIGTOOL " -t commands=kinect'"});
        EXPECT_EQ(ended.status, 0);
        EXPECT_EQ(ended.out + ended.err, "") << fault;

        const Written colour = read(m_colourFile, MessageKind::Colour);
        ASSERT_EQ(colour.image.size(), cv::Size(1920, 1080)) << fault;
        ASSERT_EQ(colour.image.type(), CV_8UC3);
        const Written infrared = read(m_infraredFile, MessageKind::Infrared);
        ASSERT_EQ(infrared.image.size(), cv::Size(512, 424)) << fault;
        ASSERT_EQ(infrared.image.type(), CV_8UC1);
        int wrong = 0;
        for (int row = 0; row < 1080; ++row)
            for (int column = 0; column < 1920; ++column)
                wrong += std::memcmp(colour.image.ptr(row, column), pixelFor(colour, row, column),
                                     3) != 0;
        for (int row = 0; row < 424; ++row)
            for (int column = 0; column < 512; ++column)
                wrong += !isRoot(*infrared.image.ptr(row, column), pixelFor(infrared, row, column));
        EXPECT_EQ(wrong, 0) << fault;
    }
}

TEST_F(KinectCommand, InterruptStopsTheSensor)
{
    const rigsim::Rig rig({{"kinect.no-infrared"}});
    setenv("RIGSIM_KINECT", rig.kinect().path().c_str(), 1);
    support::Process tool(
        {"/usr/bin/env", "LD_PRELOAD=" OWN_PICTURES, RIGTOOL, "-v", "-t", "commands=kinect"});
    ASSERT_TRUE(tool.waitForError("sensor 012345678947 streams"));
    const auto hasSent = [](const auto& state) { return state.colourFrames > 0; };
    EXPECT_TRUE(rig.kinect().waitFor(hasSent, seconds(30)));
    tool.signal(SIGINT);
    const Ended ended = tool.wait();
    EXPECT_EQ(ended.status, 130);
    EXPECT_THAT(ended.err, HasSubstr("sensor closed: "));
    EXPECT_THAT(ended.err, Not(HasSubstr("transfers have ended")));
    EXPECT_THAT(ended.err, HasSubstr("libfreenect2: depth filters off"));
    EXPECT_THAT(ended.err, Not(HasSubstr("libfreenect2: frame"))) << "what it says for debugging";
    EXPECT_FALSE(fs::exists(m_colourFile));
}

TEST_F(KinectCommand, SaysOnceWhileItWaitsThatNothingMoreWillCome)
{
    const struct
    {
        const char* faults;
        const char* line;
    } cases[] = {
        {"--fault kinect.unplug=1 --fault kinect.no-infrared",
         "Kinect: stream: the sensor is gone from the USB bus; [0-9]+ colour and 0 infrared "
         "frames, 0 dropped so far .plug it in again"},
        {"--fault kinect.no-colour",
         "Kinect: stream: no usable colour frame for 2 s; 0 colour and [1-9][0-9]* infrared"},
        {"--fault kinect.no-colour --fault kinect.no-infrared",
         "Kinect: stream: no usable frame for 5 s; 0 colour and 0 infrared frames"},
    };
    for (const auto& c : cases) {
        const Ended ended =
            support::run({"/bin/sh", "-c",
                          RIGSIM " " + std::string(c.faults) +
                              " -- timeout -s INT 8 " RIGTOOL " -t commands=kinect"});
        EXPECT_THAT(ended.err, testing::ContainsRegex("kinect: " + std::string(c.line)));
        EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
    }
}

TEST_F(KinectCommand, ModuleThatCannotBeLoadedIsNamedAndTheListGoesOn)
{
    const support::Folder folder;
    const fs::path libraries = folder / "lib/rigtool";
    const fs::path module = libraries / "rigtool_kinect.so";
    fs::create_directories(folder / "bin");
    fs::create_directories(libraries);
    fs::copy(RIGTOOL, folder / "bin/rigtool");
    const fs::path built = fs::path(PROGRAMS).parent_path() / "lib/rigtool";
    for (const auto& library : fs::directory_iterator(built))
        if (library.path().filename() != module.filename())
            fs::create_symlink(library.path(), libraries / library.path().filename());

    const std::string failed = "Failed to load the Kinect module " + module.string() + ": [^\n]*";
    for (const auto& text :
         {"No Kinect module " + module.string() + ": install the package rigtool-kinect",
          failed + "file too short"}) {
        const Ended ended = support::run({folder / "bin/rigtool", "-t", "device=/dev/none", "-t",
                                          "commands=kinect;getpantiltzoom"});
        EXPECT_EQ(ended.status, 0);
        EXPECT_THAT(ended.err, testing::MatchesRegex("[^\n]* \\[2\\] visca_control: " + text +
                                                     "[^\n]*\n(.|\n)*Failed to open VISCA(.|\n)*"));
        std::ofstream(module) << "text";
    }
}

TEST(Rigtool, LoadsNoOpenCVWithoutTheCommand)
{
    const Ended ended = support::run({"/usr/bin/ldd", RIGTOOL});
    EXPECT_THAT(ended.out, HasSubstr("libquill.so"));
    EXPECT_THAT(ended.out, Not(HasSubstr("opencv")));
}

}  // namespace
