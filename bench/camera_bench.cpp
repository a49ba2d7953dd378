#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

#include "child.h"
#include "devices/visca/visca_camera.h"
#include "tools/rigsim/rig.h"

namespace
{

/// What the command getpantiltzoom does: opens the camera, asks for both positions, closes it. The
/// simulated camera answers at once, at the pace of a line of 9600 bit/s.
void getPanTiltZoom(benchmark::State& state)
{
    const rigsim::Rig rig;
    for (auto _ : state) {
        const auto camera = quill::VISCACamera::open(rig.cameraPath(), quill::seconds(1));
        int pan = 0;
        int tilt = 0;
        uint16_t zoom = 0;
        if (camera == nullptr || camera->getPanTiltPosition(&pan, &tilt, quill::seconds(1)) != 0 ||
            camera->getZoomPosition(&zoom, quill::seconds(1)) != 0)
            state.SkipWithError("the camera did not answer");
    }
}
BENCHMARK(getPanTiltZoom)->UseRealTime();

// The same by whole programs, started each time.

void runOnCamera(benchmark::State& state,
                 const std::function<std::vector<std::string>(const std::string&)>& program)
{
    const rigsim::Rig rig;
    for (auto _ : state) {
        if (runChild(program(rig.cameraPath()))) continue;
        state.SkipWithError("the program failed");
        break;
    }
}

void toolOnCamera(benchmark::State& state)
{
    runOnCamera(state, [](const std::string& path) {
        return std::vector<std::string>{RIGTOOL, "-t", "device=" + path, "-t",
                                        "commands=getpantiltzoom"};
    });
}
BENCHMARK(toolOnCamera)->UseRealTime();

void scriptOnCamera(benchmark::State& state)
{
    runOnCamera(state, [](const std::string& path) {
        return std::vector<std::string>{PYTHON, PYSERIAL_EXCHANGES, "camera", path};
    });
}
BENCHMARK(scriptOnCamera)->UseRealTime();

}  // namespace
