#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

#include "support/folder.h"
#include "support/process.h"

namespace
{

using testing::HasSubstr;

std::string fileText(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(BuildRecord, StandsInItsSectionOfTheProgram)
{
    // Size 0x8000, flags "A" (allocated and not writable), alignment 32.
    EXPECT_THAT(
        support::run({"/usr/bin/readelf", "-SW", RIGTOOL}).out,
        testing::ContainsRegex("bldinfo +PROGBITS +[0-9a-f]+ [0-9a-f]+ 008000 00 +A +0 +0 32\n"));
    const support::Folder folder;
    const std::string dump = folder / "bldinfo";
    ASSERT_EQ(support::run(
                  {"/usr/bin/objcopy", "--dump-section", "bldinfo=" + dump, RIGTOOL, "/dev/null"})
                  .status,
              0);
    const std::string bytes = fileText(dump);
    ASSERT_EQ(bytes.size(), 0x8000u);
    const std::string text = bytes.c_str();
    EXPECT_EQ(bytes.find_first_not_of('\0', text.size()), std::string::npos);
    EXPECT_THAT(text, testing::MatchesRegex(
                          "metadata \\{\n"
                          "build_type: \"" BUILD_TYPE "\"\n"
                          "built_at: \"[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\"\n"
                          "build_timestamp: [0-9]+\\.[0-9]{6}\n"
                          "built_by: \"[^\"]+\"\n"
                          "built_on: \"[^\"]+\"\n"
                          "\\}\n"
                          "version_metadata \\{\n"
                          "software_version: \"" VERSION "\"\n"
                          "software_channel: \"[^\"]+\"\n"
                          "\\}\n"));
    const support::Ended version = support::run({RIGTOOL, "--version"});
    EXPECT_EQ(version.out, text);
    EXPECT_EQ(version.err, "");
    EXPECT_EQ(version.status, 0);
}

TEST(BuildRecord, NamesTheSameInstantTwiceAndHonoursSourceDateEpoch)
{
    const support::Folder folder;
    const std::string output = folder / "build_record.cpp";
    const auto write = [&](const std::string& environment) {
        const auto ended = support::run({"/usr/bin/env", environment, CMAKE_PROGRAM,
                                         "-DOUTPUT=" + output, "-DTEMPLATE=" BUILD_RECORD_TEMPLATE,
                                         "-DBUILD_TYPE=a\"b\\c", "-DSOFTWARE_VERSION=1.2.3",
                                         "-DSOFTWARE_CHANNEL=c", "-P", WRITE_BUILD_RECORD});
        EXPECT_EQ(ended.status, 0) << ended.err;
        return fileText(output);
    };
    const std::string fixed = write("SOURCE_DATE_EPOCH=1630918232");
    EXPECT_THAT(fixed, HasSubstr("built_at: \"2021-09-06 08:50:32\"\n"
                                 "build_timestamp: 1630918232.000000\n"));
    EXPECT_THAT(fixed, HasSubstr("build_type: \"a\\\"b\\\\c\"\n"));
    EXPECT_EQ(write("SOURCE_DATE_EPOCH=1630918232"), fixed);
}

TEST(Program, NeedsAndExportsWhatItsUsersCountOn)
{
    const std::string needed = support::run({"/usr/bin/readelf", "-dW", RIGTOOL}).out;
    for (const char* library : {"libprofiler.so", "libunwind.so", "libcalibration_files.so",
                                "libquill.so", REGULAR_EXPRESSIONS})
        EXPECT_THAT(needed, HasSubstr(std::string("Shared library: [") + library));

    const std::string symbols = support::run({"/usr/bin/nm", "-DC", RIGTOOL}).out;
    EXPECT_THAT(symbols, HasSubstr(" T getBuildInfo\n"));
    EXPECT_THAT(symbols, HasSubstr(" T bogus()\n"));

    const std::string all = support::run({"/usr/bin/nm", "-C", RIGTOOL}).out;
    for (const char* guard : {"p_device", "p_commands"})
        EXPECT_THAT(all, HasSubstr(" T in_this_namespace_property_" + std::string(guard) +
                                   "_was_not_defined_with_type(std::__cxx11::basic_string"));
    for (const char* guard : {"p_dxl_baudnum", "p_margin1pos", "p_margin1neg", "p_margin2"})
        EXPECT_THAT(all, HasSubstr(" T in_this_namespace_property_" + std::string(guard) +
                                   "_was_not_defined_with_type(int)\n"));
}

}  // namespace
