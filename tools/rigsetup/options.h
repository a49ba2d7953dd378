#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "common/logging.h"

namespace rigsetup
{

/// `rigsetup camera`
struct CameraOptions
{
    std::string device = "/dev/ttyUSB0";
    std::optional<bool> power;  ///< true: on; false: standby; nothing: look only
};

/// `rigsetup identify`
struct IdentifyOptions
{
    int baudNumber = 34;  ///< at which servos are asked first: 0..252
};

/// `rigsetup names`. Ports that are not named are found by asking all.
struct NamesOptions
{
    std::string camera, servos, laser;  ///< device nodes or links to them
    bool installs = false;
    std::string folder = "/etc/udev/rules.d";
};

/// `rigsetup cbus`
struct CbusOptions
{
    std::string device = "/dev/ttyUSB0";
    std::vector<unsigned int> ioPins;  ///< 0..3, to be put into I/O mode
    std::string backup;                ///< empty: beside the user's data
    std::string restore;               ///< a backup; empty: none
};

struct Options
{
    std::variant<CameraOptions, IdentifyOptions, NamesOptions, CbusOptions> subcommand;
    bool isDryRun = false;
    bool isAgreed = false;  ///< --yes
    int logLevel = quill::kWarning;
};

/// A wrong command line: what to print on stderr.
struct UsageError
{
    std::string text;
};

/// The command line asked for help or the version: what to print on stdout.
struct InformationText
{
    std::string text;
};

/// @param arguments  those of main without the first
std::variant<Options, UsageError, InformationText> parseOptions(
    const std::vector<std::string>& arguments);

}  // namespace rigsetup
