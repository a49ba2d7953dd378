#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <regex>

#include "support/folder.h"
#include "support/process.h"

// What the documents show is run and must come out the same.

namespace
{

/// What the names of the pictures begin with. They are the same for all users of this computer, so
/// that an example makes them in a folder of its own.
const std::string kPictures = "/tmp/kinect_";

struct Example
{
    std::string command;
    std::string output;
};

/// The lines of the "console" blocks: "$ command", then what it prints.
std::vector<Example> examplesOf(const std::string& path)
{
    std::vector<Example> examples;
    std::ifstream file(path);
    bool inBlock = false;
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("```", 0) == 0)
            inBlock = line == "```console";
        else if (inBlock && line.rfind("$ ", 0) == 0)
            examples.push_back({line.substr(2), ""});
        else if (inBlock)
            examples.back().output += line + "\n";
    }
    return examples;
}

std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

/// Without what differs from run to run and from build to build.
std::string comparable(const std::string& text)
{
    static const std::regex time("[0-9]{4}-[0-9-]{5} [0-9:]{8}\\.[0-9]{3}");
    static const std::regex line("(\\.(cpp|h)):[0-9]+\\)");
    static const std::regex process("process [0-9]+");
    std::string result = std::regex_replace(text, time, "TIME");
    result = std::regex_replace(result, line, "$1:LINE)");
    return std::regex_replace(result, process, "process N");
}

class Document : public testing::TestWithParam<const char*>
{};

TEST_P(Document, ShowsWhatTheProgramsPrint)
{
    const auto examples = examplesOf(GetParam());
    ASSERT_FALSE(examples.empty());
    const support::Folder folder;
    const std::string pictures = folder / "kinect_";
    setenv("PICTURES", folder.path().c_str(), 1);
    for (const Example& example : examples) {
        // Programs that run beside each other meet in real time.
        const bool isAlone = example.command.find(" & ") == std::string::npos;
        const std::string path = isAlone ? PATIENT_RIGTOOL ":" PROGRAMS : PROGRAMS;
        const auto ended = support::run({"/bin/sh", "-c",
                                         "PATH=" + path + ":$PATH; exec 2>&1; " +
                                             replaced(example.command, kPictures, pictures)});
        EXPECT_EQ(comparable(replaced(ended.out, pictures, kPictures)), comparable(example.output))
            << example.command;
    }
}

INSTANTIATE_TEST_SUITE_P(, Document, testing::Values(README, TROUBLESHOOTING),
                         [](const auto& document) {
                             return document.index == 0 ? "Readme" : "Troubleshooting";
                         });

}  // namespace
