#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "common/error.h"
#include "common/time.h"

namespace quill
{

class SerialPort;
struct GuardReport;

/// Sees to it that an open line is told a last order after a first one, whatever becomes of this
/// process. A child process of its own gives both. The last one is due when this process asks for
/// it, ends in any way (SIGKILL, a crash), or 2 s after the first in any case (SIGSTOP); it is
/// tried for another 2 s until the line has taken it, which is opened anew when it was lost.
/// Between the two the line stays open and locked in the child. One thread at a time.
class LineGuard
{
  public:
    struct Orders
    {
        std::vector<uint8_t> first;
        std::vector<uint8_t> last;
    };

    /// @param line     opened on `path` at `bitRate`; stays open and unused as long as this lives
    /// @param process  name of the child, up to 15 characters
    LineGuard(SerialPort& line, std::string path, int bitRate, std::string process);

    /// The last order has been given, if the first one was.
    ~LineGuard();
    LineGuard(const LineGuard&) = delete;
    LineGuard& operator=(const LineGuard&) = delete;

    /// Starts the child, which gives the first order. Once at most.
    /// @return why the line has not taken it, or that there is no child: nothing was sent then
    [[nodiscard]] std::optional<Error> start(Orders orders);

    /// Whether there is a child whose last order nobody has waited for.
    bool isRunning() const { return m_child > 0; }

    /// Makes the last order due and waits for it and for the end of the child, 3 s at most, and
    /// gives the order itself when the child has not (killed), which is logged at level 3, category
    /// "serial".
    /// @return why the line has not taken it
    [[nodiscard]] std::optional<Error> finish();

  private:
    std::optional<GuardReport> awaitReport(bool ofLastOrder);
    Error failure(const GuardReport& report) const;
    [[nodiscard]] std::optional<Error> giveLastOrder();

    SerialPort& m_line;
    std::string m_path;
    int m_bitRate;
    std::string m_process;
    Orders m_orders;
    pid_t m_child = -1;
    int m_release = -1;
    int m_reports = -1;
};

}  // namespace quill
