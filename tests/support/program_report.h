#pragma once

#include <cstdint>
#include <set>
#include <string>

namespace support
{

/// At the program's ordinary end writes to the file PROGRAM_REPORT, where there is one, how long
/// the program took by its own monotonic clock, in ms, and below it which devices and files it has
/// left open. For libraries that are preloaded into a program under test: one static object.
class ProgramReport
{
  public:
    ProgramReport();
    ~ProgramReport();
    ProgramReport(const ProgramReport&) = delete;
    ProgramReport& operator=(const ProgramReport&) = delete;

  private:
    int64_t m_start_ms;
    std::set<std::string> m_inherited;
};

}  // namespace support
