#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <regex>

#include "support/process.h"

// What the documents show is run and must come out the same.

namespace
{

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
    for (const Example& example : examples) {
        // Programs that run beside each other meet in real time.
        const bool isAlone = example.command.find(" & ") == std::string::npos;
        const std::string path = isAlone ? PATIENT_RIGTOOL ":" PROGRAMS : PROGRAMS;
        const auto ended = support::run(
            {"/bin/sh", "-c", "PATH=" + path + ":$PATH; exec 2>&1; " + example.command});
        EXPECT_EQ(comparable(ended.out), comparable(example.output)) << example.command;
    }
}

INSTANTIATE_TEST_SUITE_P(, Document, testing::Values(README, TROUBLESHOOTING),
                         [](const auto& document) {
                             return document.index == 0 ? "Readme" : "Troubleshooting";
                         });

}  // namespace
