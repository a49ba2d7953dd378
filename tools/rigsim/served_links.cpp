#include "tools/rigsim/served_links.h"

namespace rigsim
{

namespace fs = std::filesystem;

ServedLinks::ServedLinks(const Rig& rig, const fs::path& folder)
{
    try {
        for (const Rig::Line& line : rig.lines()) {
            const fs::path path = folder / line.device;
            fs::create_symlink(line.path, path);
            m_paths.push_back(path);
        }
    } catch (...) {
        remove();
        throw;
    }
}

ServedLinks::~ServedLinks()
{
    remove();
}

void ServedLinks::remove()
{
    std::error_code ignored;  // gone already: just what we want
    for (const fs::path& path : m_paths) fs::remove(path, ignored);
}

}  // namespace rigsim
