#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/rigsim/rig.h"

namespace rigsim
{

/// The lines of a rig as symbolic links in a folder, named after the devices. Removed with the
/// object. The folder is locked meanwhile, so that one rig at a time serves it; links that a killed
/// rigsim has left there are replaced.
class ServedLinks
{
  public:
    /// @throw std::system_error  no such folder, or a name is taken by what is not rigsim's
    /// @throw std::runtime_error  another rigsim serves the folder
    ServedLinks(const Rig& rig, const std::filesystem::path& folder);
    ~ServedLinks();
    ServedLinks(const ServedLinks&) = delete;
    ServedLinks& operator=(const ServedLinks&) = delete;

    const std::vector<std::filesystem::path>& paths() const { return m_paths; }

  private:
    void lock(const std::filesystem::path& folder);
    void remove();

    int m_lock = -1;  // the folder
    std::vector<std::filesystem::path> m_paths;
};

}  // namespace rigsim
