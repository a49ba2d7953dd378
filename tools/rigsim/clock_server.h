#pragma once

#include <poll.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/rigsim/clock_packets.h"
#include "tools/rigsim/sim_clock.h"
#include "tools/rigsim/temporary_folder.h"

namespace rigsim
{

/// Shares the rig's clock with programs that ask for it. While one of them is connected, the rig's
/// clock stands still but when all that have asked wait: neither side can then be late for the
/// other, however busy the computer is, and a wait takes no longer than its work.
///
/// A program sends packets ClockRequest over a local socket and gets a ClockAnswer to the newest
/// one when its wait is over or something has come before, and one when it connects.
class ClockServer
{
  public:
    /// @throw std::system_error   no socket
    /// @throw std::runtime_error  no temporary folder
    ClockServer();
    ~ClockServer();
    ClockServer(const ClockServer&) = delete;
    ClockServer& operator=(const ClockServer&) = delete;

    /// Of the socket: what the variable RIGSIM_CLOCK tells a program.
    std::string path() const { return m_folder.path() / "clock"; }

    void addDescriptors(std::vector<pollfd>* polled) const;

    /// Takes what has arrived, without waiting; answers who has just connected and who waits no
    /// more.
    /// @param now  by the rig's clock
    void takeRequests(Time now);
    bool hasPrograms() const { return !m_programs.empty(); }
    /// Until when time may go on: the earliest end of a wait. Nothing while one of the programs
    /// works, or none is there. One that has not asked for kLongestWork is taken to wait for
    /// something else.
    std::optional<Time> earliestEnd() const;
    static constexpr Duration kLongestWork = quill::seconds(5);  ///< of real time
    /// Answers those that wait: something may have come for them, or their wait is over.
    void answer(Time now);

  private:
    struct Program
    {
        int descriptor;
        uint64_t request = 0;
        std::optional<Time> waitsUntil;
        Time worksSince;  // real time
    };

    void accept(Time now);
    /// @return false when the program has gone
    static bool takeRequest(Program* program, Time now);
    static void answer(Program* program, Time now);

    TemporaryFolder m_folder;
    int m_listener = -1;
    std::vector<Program> m_programs;
};

}  // namespace rigsim
