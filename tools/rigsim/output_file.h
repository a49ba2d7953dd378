#pragma once

#include <string>

namespace rigsim
{

/// A file that is written, which may be a FIFO: nothing waits longer than 5 s for its reader.
/// SIGPIPE is to be ignored.
class OutputFile
{
  public:
    /// Creates or empties the file; waits for the reader of a FIFO.
    /// @throw std::runtime_error  it cannot be opened, or a FIFO is without a reader
    explicit OutputFile(std::string path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Writes all of `text`. @throw std::runtime_error  it cannot be written, or the reader stalls
    void write(const std::string& text);

    /// Writes `line`, or nothing of it where that would have to wait for the reader.
    /// @return whether it was taken @throw std::system_error  it cannot be written
    bool offer(const std::string& line);

    const std::string& path() const { return m_path; }

  private:
    bool flush();

    std::string m_path;
    int m_descriptor = -1;
    std::string m_rest;  // of what was taken: not written yet
};

}  // namespace rigsim
