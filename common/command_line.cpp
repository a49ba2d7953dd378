#include "common/command_line.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "common/command_line_parser.h"
#include "common/interrupt.h"
#include "common/properties.h"
#include "common/standard_streams.h"
#include "common/text.h"

namespace quill
{
namespace
{

constexpr int kOutputLost = 1;
constexpr int kUsageMistake = 2;

[[noreturn]] void exitOnMistake(const std::string& program, const UsageMistake& mistake)
{
    std::fprintf(stderr, "%s: %s\n%s\n%s --help shows all options and settings\n", program.c_str(),
                 escapeControls(mistake.culprit).c_str(), escapeControls(mistake.valid).c_str(),
                 program.c_str());
    std::exit(kUsageMistake);
}

/// Stores the texts on the settings' nodes, and the rest where it is asked for.
void apply(const CommandLine& commandLine)
{
    for (const auto& [node, text] : commandLine.settings) {
        PropertyValue value;
        value.set<std::string>(text);
        node->setValue(value);
    }
    setGivenOptions(commandLine.options);
    setLogLevel(commandLine.logLevel);
    setLogBreakLevel(commandLine.logBreakLevel);
}

void keepRemaining(const std::vector<std::string>& remaining, int* argc, char*** argv)
{
    int kept = 1;
    for (int i = 1; i < *argc; ++i)
        if (std::find(remaining.begin(), remaining.end(), (*argv)[i]) != remaining.end())
            (*argv)[kept++] = (*argv)[i];
    *argc = kept;
    (*argv)[kept] = nullptr;
}

}  // namespace

void initCommandLine(int* argc, char*** argv, bool strict)
{
    guardStandardStreams();
    initializeStaticProperties();
    std::vector<std::string> arguments(*argv, *argv + *argc);
    if (arguments.empty()) arguments.emplace_back();
    const std::string program = arguments[0].substr(arguments[0].find_last_of('/') + 1);
    arguments.erase(arguments.begin());

    const auto parsed = parseCommandLine(program, arguments, strict);
    if (const auto* mistake = std::get_if<UsageMistake>(&parsed)) exitOnMistake(program, *mistake);
    if (const auto* information = std::get_if<InformationText>(&parsed)) {
        std::fputs(information->text.c_str(), stdout);
        std::fflush(stdout);
        std::exit(isEndOrdered() ? kOutputLost : 0);
    }
    apply(std::get<CommandLine>(parsed));
    if (*argc > 0) keepRemaining(std::get<CommandLine>(parsed).remaining, argc, argv);
}

}  // namespace quill
