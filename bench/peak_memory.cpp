// peak_memory COMMAND...: runs it and prints the most memory that it had resident. A program of its
// own, because a process counts as its own what its maker had before.

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstdio>

int main(int argc, char** argv)
{
    pid_t pid = 0;
    int status = -1;
    rusage usage{};
    if (argc < 2 || ::posix_spawnp(&pid, argv[1], nullptr, nullptr, argv + 1, environ) != 0 ||
        ::wait4(pid, &status, 0, &usage) != pid || status != 0)
        return std::fprintf(stderr, "peak_memory: the command failed\n"), 1;
    std::printf("%.1f MB\n", static_cast<double>(usage.ru_maxrss) * 1024 / 1e6);
    return 0;
}
