#include "devices/usb/node_holder.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>

namespace quill
{
namespace
{

namespace fs = std::filesystem;

/// Processes that hold a lock on the file. A line of the list reads
/// "1: FLOCK  ADVISORY  WRITE 1234 00:05:678 0 EOF": process, device and inode of the file.
std::set<int> lockingProcesses(const struct stat& file)
{
    char wanted[64];
    std::snprintf(wanted, sizeof wanted, "%02x:%02x:%lu", major(file.st_dev), minor(file.st_dev),
                  static_cast<unsigned long>(file.st_ino));
    std::set<int> processes;
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        int process = 0;
        char place[64] = "";
        if (std::sscanf(line.c_str(), "%*s %*s %*s %*s %d %63s", &process, place) == 2 &&
            place == std::string(wanted))
            processes.insert(process);
    }
    return processes;
}

/// Visits what is in a folder of /proc. A process may end meanwhile, and its folder with it.
template <typename Visit>
void visitEntries(const fs::path& folder, const Visit& visit)
{
    std::error_code ended;
    for (fs::directory_iterator entry(folder, ended), end; !ended && entry != end;
         entry.increment(ended))
        visit(entry->path());
}

bool hasOpen(const fs::path& process, const struct stat& file)
{
    bool isOpen = false;
    visitEntries(process / "fd", [&](const fs::path& descriptor) {
        struct stat opened = {};
        if (::stat(descriptor.c_str(), &opened) == 0 && S_ISCHR(opened.st_mode))
            isOpen = isOpen || opened.st_rdev == file.st_rdev;
    });
    return isOpen;
}

std::set<int> openingProcesses(const struct stat& file)
{
    std::set<int> processes;
    visitEntries("/proc", [&](const fs::path& process) {
        int number = 0;
        if (std::sscanf(process.filename().c_str(), "%d", &number) != 1) return;
        if (number != ::getpid() && hasOpen(process, file)) processes.insert(number);
    });
    return processes;
}

/// A process that has ended since it was found has no name any more.
std::string describe(int process)
{
    const std::string number = "process " + std::to_string(process);
    std::string name;
    std::getline(std::ifstream("/proc/" + std::to_string(process) + "/comm"), name);
    return name.empty() ? number : name + ", " + number;
}

}  // namespace

std::string nodeHolder(const std::string& path)
{
    struct stat file = {};
    if (::stat(path.c_str(), &file) != 0 || !S_ISCHR(file.st_mode)) return "";
    // Who has locked it is asked first: a terminal emulator may have it open besides.
    std::set<int> processes = lockingProcesses(file);
    if (processes.empty()) processes = openingProcesses(file);
    std::string text;
    for (const int process : processes) text += (text.empty() ? "" : " and ") + describe(process);
    return text;
}

}  // namespace quill
