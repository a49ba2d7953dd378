#pragma once

#include <string>

namespace rigsetup
{

/// Whether to go on with a change.
enum class Consent {
    Given,
    DryRun,   ///< it was only to be told
    Refused,  ///< by who was asked, or there is nobody to ask: that has been said
};

/// Says what will be changed and asks whether it may.
class Asker
{
  public:
    /// @param isDryRun  tells only
    /// @param isAgreed  asks nobody
    Asker(bool isDryRun, bool isAgreed) : m_isDryRun(isDryRun), m_isAgreed(isAgreed) {}

    /// Prints the change on standard output and, unless it is agreed to, asks on the terminal.
    /// Ctrl-C ends the run while it waits for the answer.
    /// @param change  a sentence or lines, with what cannot be undone
    Consent ask(const std::string& change) const;

  private:
    bool m_isDryRun;
    bool m_isAgreed;
};

}  // namespace rigsetup
