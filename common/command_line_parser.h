#pragma once

#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "common/export.h"
#include "common/logging.h"
#include "common/program_declaration.h"
#include "common/property_node.h"

namespace quill
{

/// What a command line asks for, understood and not yet done.
struct CommandLine
{
    std::vector<std::pair<PropertyNode*, std::string>> settings;  ///< texts that fit, in order
    GivenOptions options;
    int logLevel = kDefaultLogLevel;
    int logBreakLevel = kNoBreakLevel;
    std::vector<std::string> remaining;  ///< no options; empty when the parse was strict
};

/// What standard output is to show before the program ends.
struct InformationText
{
    std::string text;
};

/// A mistake on the command line. The first line names the culprit, the second what is valid.
struct UsageMistake
{
    std::string culprit;
    std::string valid;
};

/// Reads a command line as initCommandLine() documents it. Nothing is changed or printed.
/// @param program    as the texts call it
/// @param arguments  those of main without the first
QUILL_API std::variant<CommandLine, InformationText, UsageMistake> parseCommandLine(
    const std::string& program, const std::vector<std::string>& arguments, bool strict);

}  // namespace quill
