// Part of a library that is preloaded into a program under test. At the program's ordinary end it
// writes to the file PROGRAM_REPORT, where there is one, how long the program took by its own
// monotonic clock, in ms, and below it which devices and files it has left open.

#include <dirent.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <set>
#include <string>

namespace
{

int64_t now_ms()
{
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000 + time.tv_nsec / 1000000;
}

std::set<std::string> openDescriptors()
{
    std::set<std::string> found;
    DIR* const folder = ::opendir("/proc/self/fd");
    if (folder == nullptr) return found;
    while (const dirent* entry = ::readdir(folder)) {
        const std::string name = entry->d_name;
        if (name[0] == '.' || std::atoi(name.c_str()) == ::dirfd(folder)) continue;
        char target[256] = "";
        const std::string path = "/proc/self/fd/" + name;
        // Neither sockets, of which the testbed's library forgets some, nor what has no name.
        const bool isNamed =
            ::readlink(path.c_str(), target, sizeof target - 1) > 0 && target[0] == '/';
        if (isNamed) found.insert(target);
    }
    ::closedir(folder);
    return found;
}

/// One static object, from the program's start to its end.
class ProgramReport
{
  public:
    ProgramReport() = default;
    ~ProgramReport() { write(std::getenv("PROGRAM_REPORT")); }
    ProgramReport(const ProgramReport&) = delete;
    ProgramReport& operator=(const ProgramReport&) = delete;

  private:
    void write(const char* path) const;

    const int64_t m_start_ms = now_ms();
    const std::set<std::string> m_inherited = openDescriptors();
};

void ProgramReport::write(const char* path) const
{
    if (path == nullptr) return;
    const std::set<std::string> stillOpen = openDescriptors();
    std::FILE* const file = std::fopen(path, "we");
    if (file == nullptr) return;
    std::fprintf(file, "%lld\n", static_cast<long long>(now_ms() - m_start_ms));
    for (const std::string& target : stillOpen)
        if (m_inherited.count(target) == 0) std::fprintf(file, "%s\n", target.c_str());
    std::fclose(file);
}

const ProgramReport s_report;

}  // namespace
