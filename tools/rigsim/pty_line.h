#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tools/rigsim/bytes.h"
#include "tools/rigsim/temporary_folder.h"

namespace rigsim
{

/// The far end of one simulated serial line: a pseudo terminal whose slave side a program opens in
/// place of a serial device. Not thread-safe; closing what another thread polls hangs up only when
/// that poll() returns.
class PtyLine
{
  public:
    /// Makes the pair, both sides raw (8 bits, no echo, no translation).
    /// @throw std::system_error   when the system has no pseudo terminal to give
    /// @throw std::runtime_error  no temporary folder
    PtyLine();
    ~PtyLine();
    PtyLine(const PtyLine&) = delete;
    PtyLine& operator=(const PtyLine&) = delete;

    /// Where a program opens the line: a link to the pseudo terminal, of this line alone and gone
    /// with its cable. The terminal's own name goes to the next one that is made.
    const std::string& path() const { return m_path; }

    /// Makes one more link to the pseudo terminal, in place of what has that name, gone with the
    /// cable too: that a pulled line has no name is all that keeps a program from the terminal's
    /// next owner.
    /// @throw std::filesystem::filesystem_error
    void addName(const std::filesystem::path& name);
    /// Takes such a link away, if the cable has not done so.
    void removeName(const std::filesystem::path& name);

    /// The master's descriptor, for poll(); -1 once unplugged.
    int descriptor() const { return m_master; }

    /// For poll() too: readable when a program has closed the line; -1 once unplugged.
    int closingsDescriptor() const { return m_closings; }
    /// Ends TIOCEXCL when the last program has closed the line, as a serial driver does. To be
    /// called when the descriptor above is readable.
    /// @throw std::system_error
    void heedClosings();

    /// The bit rate in bit/s that the program has set, as the kernel keeps it (any value, also
    /// those without a B constant); 0 once unplugged.
    unsigned bitRate() const;

    /// The bytes that have arrived, some thousand at most, without waiting.
    /// @throw std::system_error
    Bytes read();

    bool hasInput() const;

    /// Sends without waiting. A program that never reads fills the line: the rest is lost then, as
    /// in the receiver of a real line.
    /// @return the number of bytes that went out
    /// @throw std::system_error
    size_t write(const Bytes& bytes);

    /// Pulls the cable: the program's side gets POLLHUP, reads of 0 bytes and EIO. Final.
    void unplug();
    bool isPlugged() const { return m_master >= 0; }

  private:
    void openSlave();
    void watchClosings();
    void discardClosings() const;
    bool isUsed();

    std::unique_ptr<TemporaryFolder> m_folder = std::make_unique<TemporaryFolder>();
    int m_master = -1;
    int m_slave = -1;
    int m_closings = -1;  // inotify
    int m_watch = -1;
    std::string m_path;
    std::string m_terminal;
    std::vector<std::filesystem::path> m_names;
};

}  // namespace rigsim
