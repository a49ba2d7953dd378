#pragma once

#include <optional>

#include "common/interrupt.h"
#include "common/time.h"

/// How far a bus scan is, on one line of standard error that is written over and erased at the end.
/// Nothing is shown when standard error is no terminal, or when the log traces the scan anyway.
class ScanProgress
{
  public:
    /// @param lastBaudNumber  of 1..lastBaudNumber
    /// @param lastId          of 0..lastId
    ScanProgress(int lastBaudNumber, int lastId);
    ~ScanProgress();
    ScanProgress(const ScanProgress&) = delete;
    ScanProgress& operator=(const ScanProgress&) = delete;

    /// Called before an ID is probed; writes now and then only.
    void show(int baudNumber, int id);

    /// Clears the line for other output.
    void erase();

  private:
    int m_lastBaudNumber;
    int m_lastId;
    bool m_enabled;
    bool m_shown = false;
    quill::Time m_start;
    quill::Time m_next;  ///< when the line is due to be written again
    std::optional<quill::InterruptCleanup> m_eraseWhenInterrupted;
};
