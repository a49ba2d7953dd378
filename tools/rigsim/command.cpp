#include "tools/rigsim/command.h"

#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>

namespace rigsim
{
namespace
{

constexpr int kNotExecutable = 126;
constexpr int kNotFound = 127;
constexpr int kSignalled = 128;

std::vector<char*> pointers(std::vector<std::string>* strings)
{
    std::vector<char*> result;
    for (std::string& text : *strings) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

// @return 0 or errno
int spawn(std::vector<std::string> command, std::vector<std::string> environment,
          const Signals& signals, pid_t* child)
{
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigmask(&attributes, &signals.originalMask());
    posix_spawnattr_setsigdefault(&attributes, &signals.toDefault());
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const int error = posix_spawnp(child, command.front().c_str(), nullptr, &attributes,
                                   pointers(&command).data(), pointers(&environment).data());
    posix_spawnattr_destroy(&attributes);
    return error;
}

int waitForEnd(pid_t child, const Signals& signals)
{
    for (;;) {
        const int signal = signals.wait();
        if (signal != SIGCHLD) {
            kill(child, signal);
            continue;
        }
        int status = 0;
        if (waitpid(child, &status, WNOHANG) != child) continue;
        return WIFSIGNALED(status) ? kSignalled + WTERMSIG(status) : WEXITSTATUS(status);
    }
}

}  // namespace

int runCommand(const std::vector<std::string>& command, const std::vector<std::string>& environment,
               const Signals& signals)
{
    pid_t child = -1;
    const int error = spawn(command, environment, signals, &child);
    if (error == 0) return waitForEnd(child, signals);
    fmt::print(stderr, "rigsim: {}: {}\n", command.front(),
               error == ENOENT ? "command not found" : std::strerror(error));
    return error == ENOENT ? kNotFound : kNotExecutable;
}

}  // namespace rigsim
