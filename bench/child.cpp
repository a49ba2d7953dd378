#include "child.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

bool runChild(const std::vector<std::string>& arguments)
{
    std::vector<char*> pointers;
    for (const std::string& argument : arguments)
        pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    int status = -1;
    const bool isDone =
        ::posix_spawn(&pid, pointers[0], &actions, nullptr, pointers.data(), environ) == 0 &&
        ::waitpid(pid, &status, 0) == pid && status == 0;
    posix_spawn_file_actions_destroy(&actions);
    return isDone;
}
