#pragma once

#include <csignal>

namespace rigsim
{

/// Takes the signals that end rigsim out of the hands of the system: they wait until wait() looks
/// for them, so that rigsim always tidies up. To be made before any thread.
class Signals
{
  public:
    /// @param serves  whether Ctrl-C is for rigsim; otherwise it and Ctrl-\ are for COMMAND, which
    /// the terminal gives them to as well
    explicit Signals(bool serves);

    /// Waits for SIGTERM, SIGHUP, SIGCHLD, or SIGINT when serving. @return which one
    int wait() const;

    /// What a new process is to begin with: the state found at construction, and SIGPIPE the
    /// default, so that a reader that has gone means to COMMAND what it means on a real rig.
    const sigset_t& originalMask() const { return m_originalMask; }
    const sigset_t& toDefault() const { return m_toDefault; }

  private:
    sigset_t m_waited;
    sigset_t m_originalMask;
    sigset_t m_toDefault;
};

}  // namespace rigsim
