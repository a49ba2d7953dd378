#pragma once

#include <filesystem>

namespace rigsim
{

/// Where temporary files go: TMPDIR or /tmp.
/// @throw std::runtime_error  it is missing, cannot be written, or its name is too long for the
/// sockets in it; with the remedy
std::filesystem::path temporaryRoot();

/// A temporary folder, gone with the object and with all that is in it.
class TemporaryFolder
{
  public:
    /// @throw std::runtime_error  as temporaryRoot()
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return m_path; }

  private:
    std::filesystem::path m_path;
};

}  // namespace rigsim
