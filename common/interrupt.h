#pragma once

#include <functional>
#include <list>

#include "common/export.h"

/// Ending a run from outside: Ctrl-C (SIGINT), SIGTERM and SIGHUP. The signal only makes a
/// descriptor readable; every wait of the process (sleep(), the serial lines) polls it too and
/// calls endInterrupted(), which brings the hardware to a safe state in ordinary code, not in a
/// signal handler, and then lets the process die of the signal. A second signal kills at once,
/// unless it comes within half a second: timeout(1) sends one to the process and one to its group.
namespace quill
{

/// Something to be done to the hardware if the run is ended while this object lives, for example
/// "laser off". Main thread only.
class QUILL_API InterruptCleanup
{
  public:
    explicit InterruptCleanup(std::function<void()> action);
    ~InterruptCleanup();
    InterruptCleanup(const InterruptCleanup&) = delete;
    InterruptCleanup& operator=(const InterruptCleanup&) = delete;

  private:
    std::list<std::function<void()>>::iterator m_place;
};

/// While one lives, waits do not heed an interrupt: the first wait after it does. For an exchange
/// with a device that must not be cut, since a clean-up goes on with the same line; it has a short
/// time-out of its own. A second signal kills at once all the same.
class QUILL_API InterruptDelay
{
  public:
    InterruptDelay();
    ~InterruptDelay();
    InterruptDelay(const InterruptDelay&) = delete;
    InterruptDelay& operator=(const InterruptDelay&) = delete;
};

/// Starts watching. Signals that the process was started with as ignored (nohup) stay ignored.
QUILL_API void watchInterrupts();

/// Back to what the signals did before watchInterrupts().
QUILL_API void unwatchInterrupts();

/// To be polled for reading by every wait. -1, which poll() skips, while nothing is watched,
/// during an InterruptDelay, and while the clean-up of endInterrupted() runs.
QUILL_API int interruptDescriptor();

/// Ends the run if a signal has come and no delay holds it off: for work that consists of such
/// exchanges and waits for nothing else.
QUILL_API void heedInterrupt();

/// Runs the registered clean-ups, newest first, and ends the process by the signal that came: a
/// shell sees status 130 for Ctrl-C, and stops its script.
[[noreturn]] QUILL_API void endInterrupted();

}  // namespace quill
