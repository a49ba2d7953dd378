#pragma once

#include <map>
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
    ProgramDescription(const ProgramDescription&) = delete;
    ProgramDescription& operator=(const ProgramDescription&) = delete;

    const std::string& summary() const { return m_summary; }
    const std::vector<std::string>& examples() const { return m_examples; }
    const std::string& more() const { return m_more; }

    /// The program's; null when it has declared none.
    static const ProgramDescription* ofProgram();

  private:
    std::string m_summary;
    std::vector<std::string> m_examples;
    std::string m_more;
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
    ProgramOption(const ProgramOption&) = delete;
    ProgramOption& operator=(const ProgramOption&) = delete;

    const std::string& name() const { return m_name; }
    const std::string& help() const { return m_help; }
    const std::string& unit() const { return m_unit; }  ///< empty: a switch
    int highest() const { return m_highest; }

    bool isGiven() const;
    int number() const;  ///< 0 unless given

    /// Those of the program, in the order of their declaration.
    static const std::vector<const ProgramOption*>& all();

  private:
    std::string m_name;
    std::string m_help;
    std::string m_unit;
    int m_highest = 0;
};

/// The options that a command line has, each with its number, 0 for a switch.
using GivenOptions = std::map<const ProgramOption*, int>;

/// From now on they are what isGiven() and number() of every option tell. Main thread only.
QUILL_API void setGivenOptions(GivenOptions given);

}  // namespace quill
