#include <benchmark/benchmark.h>

#include <string>

#include "child.h"
#include "support/recording_driver.h"
#include "tools/orca/hardware_driver.h"

namespace
{

void runRepeatedly(benchmark::State& state, const char* program)
{
    for (auto _ : state) {
        if (runChild({program})) continue;
        state.SkipWithError("the program did not run");
        break;
    }
}

void startEmptyProgram(benchmark::State& state)
{
    runRepeatedly(state, EMPTY_PROGRAM);
}
BENCHMARK(startEmptyProgram)->UseRealTime();

void startToHelpText(benchmark::State& state)
{
    runRepeatedly(state, RIGTOOL);
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
