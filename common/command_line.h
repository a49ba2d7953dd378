#pragma once

#include <string>
#include <vector>

#include "common/export.h"

namespace quill
{

/// What `--help` says of a program besides its options and settings. Declared once, at namespace
/// scope, by the program.
class QUILL_API ProgramDescription
{
  public:
    /// @param summary   one sentence
    /// @param examples  complete command lines
    /// @param more      where else the reader finds something: the last line
    ProgramDescription(std::string summary, std::vector<std::string> examples, std::string more);
};

/// An option of one program beside the common ones. Declared once, at namespace scope, by the
/// program, which asks it after initCommandLine().
class QUILL_API ProgramOption
{
  public:
    /// A switch. @param name  with its dashes: "--dry-run"
    ProgramOption(std::string name, std::string help);

    /// A whole number from 0 to `highest`.
    /// @param unit  what the help shows in the number's place: "MS"
    ProgramOption(std::string name, std::string unit, int highest, std::string help);

    bool isGiven() const { return m_isGiven; }
    int number() const { return m_number; }  ///< 0 unless given

  private:
    friend class ProgramOptions;

    std::string m_name;
    std::string m_help;
    std::string m_unit;  ///< empty: a switch
    int m_highest = 0;
    bool m_isGiven = false;
    int m_number = 0;
};

/// Guards the standard streams (common/standard_streams.h), binds the static properties and reads
/// the command line:
///
///     -t, --set NAME=VALUE  gives a setting a value; the last one given stands
///     -v, -q                one level of the log more or less, may be repeated
///     --log-level N         shows the log up to level N
///     --log-break-level N   a log record of the formatted form, up to level N, stops the program
///     --help, --version     on standard output, status 0, or 1 when it cannot be written
///
/// and what the program has declared as ProgramOption.
///
/// A mistake ends the process with status 2 and at most four lines on standard error that name the
/// culprit and what is valid.
/// @param argc, argv  those of main; what was read is taken out
/// @param strict      true: an argument that is no option is a mistake; false: such arguments are
///                    left in argv for the program
QUILL_API void initCommandLine(int* argc, char*** argv, bool strict);

}  // namespace quill
