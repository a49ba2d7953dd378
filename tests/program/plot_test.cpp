#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

#include "support/process.h"

// The script that draws what the precision test prints.

namespace
{

support::Ended plot(const std::string& options, const std::string& samples)
{
    return support::run(
        {"/bin/sh", "-c", "printf '" + samples + "' | " PLOT_PRECISION " " + options});
}

const std::string kSamples =
    "1 1223 4\\n2 1223 5\\n1 -21 -2\\n2 -21 -2\\nAverage error m1: 1.0 std: 3.0\\n";

TEST(PlotPrecision, DrawsBothServosAsPngOrText)
{
    const std::string picture = testing::TempDir() + "errors.png";
    const support::Ended png = plot("-o " + picture, kSamples);
    EXPECT_EQ(png.status, 0) << png.err;
    std::ifstream file(picture, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(bytes.substr(0, 4), "\x89PNG");
    EXPECT_GT(bytes.size(), 5000u);

    const support::Ended text = plot("", kSamples);
    EXPECT_EQ(text.status, 0) << text.err;
    for (const char* title : {"servo 1, pan", "servo 2, tilt"})
        EXPECT_THAT(text.out, testing::HasSubstr(title));
}

TEST(PlotPrecision, SaysWhatIsMissing)
{
    EXPECT_EQ(plot("", "Average error m1: 0 std: 0\\n").status, 1);
    EXPECT_THAT(plot("", "").err, testing::HasSubstr("no samples"));
    EXPECT_EQ(plot("-x", kSamples).status, 2);
    EXPECT_NE(plot("/no/such/file", "").status, 0);
}

}  // namespace
