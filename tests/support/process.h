#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

namespace support
{

/// How a program ended and what it wrote.
struct Ended
{
    int status = -1;  ///< exit status, or 128 + the number of the signal that ended it
    std::string out;
    std::string err;
};

/// A program under test, started with an empty standard input.
class Process
{
  public:
    /// @param arguments  program path first
    explicit Process(const std::vector<std::string>& arguments);
    /// Kills it when it still runs.
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t id() const { return m_pid; }
    void signal(int number);

    /// Waits until its standard error holds `text`. @return false when it does not within 30 s
    bool waitForError(const std::string& text);

    Ended wait();

  private:
    pid_t m_pid = -1;
    std::FILE* m_out;
    std::FILE* m_err;
};

Ended run(const std::vector<std::string>& arguments);

}  // namespace support
