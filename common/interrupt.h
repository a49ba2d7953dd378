#pragma once

#include <csignal>
#include <functional>
#include <list>

#include "common/export.h"

/// Ending a run from outside: Ctrl-C (SIGINT), Ctrl-\ (SIGQUIT), SIGTERM and SIGHUP; and from
/// inside, when its output cannot be written. The order only makes a descriptor readable; every
/// wait of the process (sleep(), the serial lines) polls it too and calls endInterrupted(), which
/// brings the hardware to a safe state in ordinary code, not in a signal handler, and then lets the
/// process die of the signal. A second signal kills at once, unless it comes within half a second:
/// timeout(1) sends one to the process and one to its group.
///
/// SIGPIPE is ignored meanwhile, lest it kill a run in the middle: the write that would raise it
/// fails, and the run ends as said.
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

/// Back to what the signals did before watchInterrupts(). Ends the process, without a clean-up, if
/// an order to end has come after the last wait.
QUILL_API void unwatchInterrupts();

/// The signals that are watched: threads that a library starts are to leave them to the main one.
QUILL_API sigset_t interruptSignals();

/// Orders the end of the run because a log or a result cannot be written; any thread. The process
/// will die of SIGPIPE when its reader has gone and it was not started with SIGPIPE ignored, and
/// exit with status 1 otherwise.
/// @param error  errno of the write
QUILL_API void endForLostOutput(int error);

/// Whether the end of the run has been ordered, from outside or from inside.
QUILL_API bool isEndOrdered();

/// Readable from the order to end on, delays and clean-up included; -1 while nothing is watched.
/// For what must not keep the end waiting but cannot end the run itself.
QUILL_API int endDescriptor();

/// To be polled for reading by every wait. -1, which poll() skips, while nothing is watched,
/// during an InterruptDelay, and while the clean-up of endInterrupted() runs.
QUILL_API int interruptDescriptor();

/// Ends the run if that was ordered and no delay holds it off: for work that consists of such
/// exchanges and waits for nothing else.
QUILL_API void heedInterrupt();

/// Runs the registered clean-ups, newest first, and ends the process by the signal that came: a
/// shell sees status 130 for Ctrl-C, and stops its script. Status 1 where no signal stands for
/// what ordered the end.
[[noreturn]] QUILL_API void endInterrupted();

}  // namespace quill
