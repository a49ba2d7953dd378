#include "tools/orca/picture_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <opencv2/imgcodecs.hpp>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "support/log_capture.h"

namespace
{

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;

/// A folder in which everybody may write but nobody may touch another's files, as in /tmp.
class PictureFile : public testing::Test
{
  protected:
    PictureFile()
    {
        fs::remove_all(m_folder);
        fs::create_directory(m_folder);
        fs::permissions(m_folder, fs::perms::all | fs::perms::sticky_bit);
    }
    ~PictureFile() override { fs::remove_all(m_folder); }

    static std::vector<std::string> logOfWriting(const fs::path& path, const cv::Mat& image)
    {
        support::LogCapture capture;
        writePicture(path, image);
        return capture.records();
    }

    /// Written without a word.
    void expectWritten()
    {
        EXPECT_THAT(logOfWriting(m_path, m_image), IsEmpty());
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(m_path)));
        EXPECT_EQ(cv::norm(cv::imread(m_path, cv::IMREAD_UNCHANGED), m_image), 0);
    }

    size_t filesInFolder() const
    {
        return static_cast<size_t>(std::distance(fs::directory_iterator(m_folder), {}));
    }

    const fs::path m_folder =
        fs::path(testing::TempDir()) / ("picture_file_test." + std::to_string(::getpid()));
    const fs::path m_path = m_folder / "picture.png";
    const cv::Mat m_image = cv::Mat(3, 2, CV_8UC3, cv::Scalar(10, 20, 30));
};

TEST_F(PictureFile, TakesThePlaceOfWhateverHasItsName)
{
    const ::mode_t mask = ::umask(027);
    expectWritten();
    ::umask(mask);
    EXPECT_EQ(fs::status(m_path).permissions(), fs::perms(0640)) << "as any new file";

    const fs::path other = m_folder / "other";
    std::ofstream(other) << "old";
    fs::remove(m_path);
    fs::create_hard_link(other, m_path);
    expectWritten();
    EXPECT_EQ(fs::file_size(other), 3U) << "a reader of the old picture keeps it";

    fs::remove(m_path);
    fs::create_symlink(other, m_path);
    expectWritten();
    EXPECT_EQ(fs::file_size(other), 3U) << "a link is not followed";

    fs::remove(m_path);
    ASSERT_EQ(::mkfifo(m_path.c_str(), 0600), 0);
    expectWritten();
    EXPECT_EQ(filesInFolder(), 2U);
}

TEST_F(PictureFile, SaysWhyItCannotBeWritten)
{
    const fs::path missing = m_folder / "missing/picture.png";
    EXPECT_THAT(logOfWriting(missing, m_image),
                ElementsAre("3 kinect: picture not written: " + missing.string() +
                            ": write: No such file or directory"));
    fs::create_directory(m_path);
    EXPECT_THAT(
        logOfWriting(m_path, m_image),
        ElementsAre("3 kinect: picture not written, what is there is not the new picture: " +
                    m_path.string() +
                    ": write: Is a directory (a folder has this name; move it away)"));
    EXPECT_EQ(filesInFolder(), 1U);
}

TEST_F(PictureFile, OldOneGoesWhenTheNewOneFindsNoRoom)
{
    std::ofstream(m_path) << "old";
    cv::Mat noise(100, 100, CV_8UC3);
    cv::randu(noise, 0, 256);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit few{10000, before.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &few), 0);
    const auto log = logOfWriting(m_path, noise);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_THAT(log, ElementsAre("3 kinect: picture not written: " + m_path.string() +
                                 ": write: File too large"));
    EXPECT_EQ(filesInFolder(), 0U);
}

TEST_F(PictureFile, TellsThatAnothersFileStays)
{
    if (::geteuid() != 0) GTEST_SKIP() << "only root can play two users";
    std::ofstream(m_path) << "old";
    ASSERT_EQ(::seteuid(65534), 0);
    const auto log = logOfWriting(m_path, m_image);
    ASSERT_EQ(::seteuid(0), 0);
    EXPECT_THAT(log, ElementsAre("3 kinect: picture not written, what is there is not the new "
                                 "picture: " +
                                 m_path.string() +
                                 ": write: Operation not permitted (it is another user's file; "
                                 "sudo rm " +
                                 m_path.string() + " removes it)"));
    EXPECT_EQ(filesInFolder(), 1U);
}

}  // namespace
