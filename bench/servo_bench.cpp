#include <benchmark/benchmark.h>

#include "child.h"
#include "devices/dynamixel/dxl_device.h"
#include "devices/dynamixel/dynamixel_interface.h"
#include "devices/serial/serial_port.h"
#include "tools/rigsim/pty_line.h"
#include "tools/rigsim/rig.h"

// Exchanges with simulated servos, at the pace of a real line.

namespace
{

constexpr int kId = 1;
constexpr int kSilentId = 99;

rigsim::RigOptions oneServo(int baudNumber, int returnDelay)
{
    rigsim::ServoSetup servo;
    servo.id = kId;
    servo.baudNumber = static_cast<uint8_t>(baudNumber);
    servo.returnDelay = static_cast<uint8_t>(returnDelay);
    rigsim::RigOptions options;
    options.servos = {servo};
    return options;
}

void readByte(benchmark::State& state, int id, int baudNumber, int returnDelay)
{
    const rigsim::Rig rig(oneServo(baudNumber, returnDelay));
    DxlDevice bus;
    bus.setSilenceExpected(true);
    if (bus.dxl_initialize(rig.servosPath(), baudNumber) == 0)
        state.SkipWithError("the bus cannot be opened");
    for (auto _ : state)
        if ((bus.dxl_read_byte(id, 3) == kId) != (id == kId))
            state.SkipWithError("the servo did not answer");
}

void silentReadAt57143(benchmark::State& state)
{
    readByte(state, kSilentId, 34, 0);
}
BENCHMARK(silentReadAt57143)->UseRealTime();

void silentReadAt1M(benchmark::State& state)
{
    readByte(state, kSilentId, 1, 0);
}
BENCHMARK(silentReadAt1M)->UseRealTime();

void answeredReadDelay0(benchmark::State& state)
{
    readByte(state, kId, 1, 0);
}
BENCHMARK(answeredReadDelay0)->UseRealTime();

void answeredReadDelay500(benchmark::State& state)
{
    readByte(state, kId, 1, 250);
}
BENCHMARK(answeredReadDelay500)->UseRealTime();

/// Many reads, so that the start of the interpreter does not count.
void scriptReadDelay0(benchmark::State& state)
{
    constexpr int kReads = 2000;
    const rigsim::Rig rig(oneServo(1, 0));
    const auto run = [&](int reads) {
        const quill::Time start = quill::Time::now();
        if (!runChild(
                {PYTHON, PYSERIAL_EXCHANGES, "servo", rig.servosPath(), std::to_string(reads)}))
            state.SkipWithError("the script failed");
        return (quill::Time::now() - start).seconds();
    };
    for (auto _ : state) state.SetIterationTime((run(kReads) - run(0)) / kReads);
}
BENCHMARK(scriptReadDelay0)->UseManualTime()->Iterations(1);

/// Six reads at 57143 bit/s, three registers of two servos as a position poll has them.
void sixReads(benchmark::State& state)
{
    const rigsim::Rig rig;
    DxlDevice bus;
    if (bus.dxl_initialize(rig.servosPath(), 34) == 0)
        state.SkipWithError("the bus cannot be opened");
    for (auto _ : state) {
        for (const int id : {1, 2}) benchmark::DoNotOptimize(bus.dxl_read_word(id, 36));
        for (const int id : {1, 2}) benchmark::DoNotOptimize(bus.dxl_read_byte(id, 46));
        for (const int id : {1, 2}) benchmark::DoNotOptimize(bus.dxl_read_byte(id, 43));
    }
}
BENCHMARK(sixReads)->UseRealTime();

/// Waits on a line where nothing comes; its processor time is the figure.
void waitOnASilentLine(benchmark::State& state)
{
    const rigsim::PtyLine line;
    quill::SerialPort port;
    if (port.open(line.path(), 57143)) state.SkipWithError("the line cannot be opened");
    for (auto _ : state) {
        uint8_t byte = 0;
        size_t got = 0;
        const quill::Time end = quill::Time::now() + quill::seconds(2);
        benchmark::DoNotOptimize(port.readSome(&byte, 1, &got, end));
    }
}
BENCHMARK(waitOnASilentLine)->UseRealTime()->Iterations(1);

/// Waits for a servo that never stops, as the motor test does.
void waitForAStuckServo(benchmark::State& state)
{
    rigsim::RigOptions options;
    options.faults = {"servos.stuck"};
    const rigsim::Rig rig(options);
    const auto bus = quill::DynamixelInterface::open(rig.servosPath(), 34, nullptr);
    const auto tilt = bus->getMotor(2);
    tilt->setGoalPosition(1000);
    for (auto _ : state)
        if (tilt->waitNotMoving(quill::seconds(2))) state.SkipWithError("the servo stopped");
}
BENCHMARK(waitForAStuckServo)->UseRealTime()->Iterations(1);

}  // namespace
