#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/rigsim/rig.h"

namespace rigsim
{

/// The lines of a rig as symbolic links in a folder, named after the devices. Removed with the
/// object.
class ServedLinks
{
  public:
    /// @throw std::filesystem::filesystem_error  no such folder, or a name is taken
    ServedLinks(const Rig& rig, const std::filesystem::path& folder);
    ~ServedLinks();
    ServedLinks(const ServedLinks&) = delete;
    ServedLinks& operator=(const ServedLinks&) = delete;

    const std::vector<std::filesystem::path>& paths() const { return m_paths; }

  private:
    void remove();

    std::vector<std::filesystem::path> m_paths;
};

}  // namespace rigsim
