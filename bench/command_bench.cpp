#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <string>

#include "support/recording_driver.h"
#include "tools/orca/hardware_driver.h"

namespace
{

/// Runs a program to its end with its standard error thrown away.
void spawnAndWait(benchmark::State& state, const char* program)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    char* const arguments[] = {const_cast<char*>(program), nullptr};
    for (auto _ : state) {
        pid_t pid = 0;
        int status = 0;
        if (::posix_spawn(&pid, program, &actions, nullptr, arguments, environ) != 0 ||
            ::waitpid(pid, &status, 0) != pid || status != 0) {
            state.SkipWithError("the program did not run");
            break;
        }
    }
    posix_spawn_file_actions_destroy(&actions);
}

void startEmptyProgram(benchmark::State& state)
{
    spawnAndWait(state, EMPTY_PROGRAM);
}
BENCHMARK(startEmptyProgram)->UseRealTime();

void startToHelpText(benchmark::State& state)
{
    spawnAndWait(state, RIGTOOL);
}
BENCHMARK(startToHelpText)->UseRealTime();

/// Operations that only note their call stand in for the real ones.
void parseThousandCommands(benchmark::State& state)
{
    std::string list;
    for (int i = 0; i < 500; ++i) list += "pantiltzoom(100,-20,3);motortest(0,4095,0,4095,60);";
    HardwareDriver driver("/dev/null");
    for (auto _ : state) {
        if (driver.executeCommands(list) != 0 || support::takeDriverCalls().size() != 1000)
            state.SkipWithError("the list did not run");
    }
}
BENCHMARK(parseThousandCommands);

}  // namespace
