#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "tools/rigsim/rig.h"

namespace rigsim
{

struct Options
{
    RigOptions rig;
    std::string stateFile;             ///< empty: none
    std::string serveFolder;           ///< empty: run `command`
    std::vector<std::string> command;  ///< what stands behind "--"
};

/// A wrong command line: what to print on stderr.
struct UsageError
{
    std::string text;
};

/// The command line asked for help: what to print on stdout.
struct HelpText
{
    std::string text;
};

std::variant<Options, UsageError, HelpText> parseOptions(const std::vector<std::string>& arguments);

}  // namespace rigsim
