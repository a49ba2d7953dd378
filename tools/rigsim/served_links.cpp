#include "tools/rigsim/served_links.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace rigsim
{

namespace fs = std::filesystem;

namespace
{

/// The process that has locked a file, in words; empty where the system does not show it. A line
/// of its list reads "1: FLOCK  ADVISORY  WRITE 1234 00:05:678 0 EOF": process, device, inode.
std::string lockHolder(int descriptor)
{
    struct stat file = {};
    if (fstat(descriptor, &file) < 0) return "";
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        int process = 0;
        unsigned long inode = 0;
        if (std::sscanf(line.c_str(), "%*s FLOCK %*s %*s %d %*x:%*x:%lu", &process, &inode) == 2 &&
            process > 0 && inode == file.st_ino)
            return fmt::format(", process {}", process);
    }
    return "";
}

/// Whether a link leads where only links of rigsim do: to "rigsim.XXXXXX/tty", see PtyLine.
bool isOwnLink(const fs::path& path)
{
    std::error_code noLink;
    const fs::path target = fs::read_symlink(path, noLink);
    const std::string folder = target.parent_path().filename();
    const std::string start = "rigsim.";
    return !noLink && target.filename() == "tty" && folder.size() == start.size() + 6 &&
           folder.compare(0, start.size(), start) == 0;
}

}  // namespace

ServedLinks::ServedLinks(const Rig& rig, const fs::path& folder)
{
    try {
        lock(folder);
        for (const Rig::Line& line : rig.lines()) {
            const fs::path path = folder / line.device;
            if (isOwnLink(path)) fs::remove(path);  // stale: nobody else has the lock
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

void ServedLinks::lock(const fs::path& folder)
{
    m_lock = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (m_lock >= 0 && flock(m_lock, LOCK_EX | LOCK_NB) == 0) return;
    const int number = errno;
    if (number != EWOULDBLOCK)
        throw std::system_error(number, std::generic_category(), folder.string());
    throw std::runtime_error(
        fmt::format("{}: another rigsim serves it{}", folder.string(), lockHolder(m_lock)));
}

void ServedLinks::remove()
{
    std::error_code ignored;  // gone already: just what we want
    for (const fs::path& path : m_paths) fs::remove(path, ignored);
    if (m_lock >= 0) close(m_lock);
}

}  // namespace rigsim
