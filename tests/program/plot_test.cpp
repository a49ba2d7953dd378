#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "support/folder.h"
#include "support/process.h"

// The script that draws what the precision test prints.

namespace
{

namespace fs = std::filesystem;

support::Ended plot(const std::string& options, const std::string& samples)
{
    return support::run(
        {"/bin/sh", "-c", "printf '" + samples + "' | " PLOT_PRECISION " " + options});
}

std::string firstBytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    char bytes[4] = "";
    file.read(bytes, sizeof bytes);
    return {bytes, sizeof bytes};
}

const std::string kSamples =
    "1 1223 4\\n2 1223 5\\n1 -21 -2\\n2 -21 -2\\nAverage error m1: 1.0 std: 3.0\\n";

TEST(PlotPrecision, DrawsBothServosAsPngOrText)
{
    const support::Folder folder;
    const std::string picture = folder / "errors.png";
    const support::Ended png = plot("-o " + picture, kSamples);
    EXPECT_EQ(png.status, 0) << png.err;
    EXPECT_EQ(firstBytes(picture), "\x89PNG");
    EXPECT_GT(fs::file_size(picture), 5000u);

    const support::Ended text = plot("", kSamples);
    EXPECT_EQ(text.status, 0) << text.err;
    for (const char* title : {"servo 1, pan", "servo 2, tilt"})
        EXPECT_THAT(text.out, testing::HasSubstr(title));
}

TEST(PlotPrecision, TakesNamesForNamesOnly)
{
    const fs::path folder = testing::TempDir() + "it's a \"folder\"";
    fs::create_directory(folder);
    const std::string picture = folder / "x.png'; system(\"touch ran\"); set output '";
    const support::Ended ended = support::run(
        {"/bin/sh", "-c",
         "cd \"$1\"; printf '" + kSamples + "' | TMPDIR=$1 " PLOT_PRECISION " -o \"$2\"", "sh",
         folder, picture});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_EQ(ended.out, picture + "\n");
    EXPECT_EQ(firstBytes(picture), "\x89PNG");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1) << "the picture and no more";
    fs::remove_all(folder);
}

TEST(PlotPrecision, SaysWhatIsMissing)
{
    EXPECT_EQ(plot("", "Average error m1: 0 std: 0\\n").status, 1);
    EXPECT_THAT(plot("", "").err, testing::HasSubstr("no samples"));
    EXPECT_EQ(plot("-x", kSamples).status, 2);
    EXPECT_NE(plot("/no/such/file", "").status, 0);
    EXPECT_EQ(plot("-o /no/such/folder/x.png", kSamples).status, 1);
}

}  // namespace
