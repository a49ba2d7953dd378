#include <benchmark/benchmark.h>

#include <mutex>
#include <string>

#include "common/properties.h"

QUILL_DEFINE_PROPERTY(int, p_bench_int, "benchint", 34);
QUILL_DEFINE_PROPERTY(std::string, p_bench_string, "benchstring", "/dev/ttyUSB0");

namespace
{

template <typename T>
void lockAndCopy(benchmark::State& state, T value)
{
    std::mutex mutex;
    for (auto _ : state) {
        const std::lock_guard<std::mutex> lock(mutex);
        benchmark::DoNotOptimize(value);
        T copy = value;
        benchmark::DoNotOptimize(copy);
    }
}

void lockAndCopyInt(benchmark::State& state)
{
    lockAndCopy(state, 34);
}
BENCHMARK(lockAndCopyInt);

void lockAndCopyString(benchmark::State& state)
{
    lockAndCopy(state, std::string("/dev/ttyUSB0"));
}
BENCHMARK(lockAndCopyString);

void readInt(benchmark::State& state)
{
    quill::initializeStaticProperties();
    for (auto _ : state) benchmark::DoNotOptimize(p_bench_int());
}
BENCHMARK(readInt);

void readString(benchmark::State& state)
{
    quill::initializeStaticProperties();
    for (auto _ : state) benchmark::DoNotOptimize(p_bench_string());
}
BENCHMARK(readString);

}  // namespace
