#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace matrix
{

/// A command of rigtool and what the matrix knows of it.
struct Command
{
    std::string text;    ///< as in the setting `commands`
    std::string device;  ///< its node in /dev; empty when it takes none from the settings
    int orders;          ///< how many different ones a healthy rig hears
    int bound_s;         ///< the longest it may take by the rig's clock, whatever happens
    /// Of its log when it ends with status 1, a regular expression; empty where it never does.
    std::string failure = {};
    /// What it may order too, on a rig that does not do the first; a regular expression.
    std::string otherOrders = {};
    /// What it may order when it is interrupted or fails, to bring the rig to rest; likewise.
    std::string lastOrders = {};

    std::string name() const { return text.substr(0, text.find('(')); }
    bool isKinect() const { return text == "kinect"; }
};

/// One command on one rig.
struct Run
{
    const Command* command;
    std::string fault;       ///< as it is typed; empty: a healthy rig
    int interruptAt_ms = 0;  ///< by the rig's clock, when Ctrl-C is typed; 0: never
};

/// What came of it.
struct Outcome
{
    int status = -1;
    std::string log;  ///< what it said on standard error
    /// What the devices heard beside questions: "laser A0 01 01 A2".
    std::set<std::string> orders;
    std::string state;  ///< of the rig afterwards, JSON
    /// How long it took by the rig's clock; nothing when it did not end by itself.
    std::optional<int> time_ms;
    std::string leftOpen;  ///< devices and files
};

/// The run as a shell command.
std::string describe(const Run& run);

/// Runs it, with a faster clock, on a rig of its own.
/// @param folder  for its files; must be there
Outcome runOnRig(const Run& run, const std::filesystem::path& folder);

}  // namespace matrix
