#include "tools/rigsetup/camera.h"

#include <fmt/format.h>

#include <cstdio>

#include "devices/visca/camera_setup.h"

namespace rigsetup
{
namespace
{

using quill::CameraSetup;
using quill::Error;

constexpr quill::Duration kOpenTimeout = quill::seconds(2);
constexpr quill::Duration kAnswerTimeout = quill::seconds(1);
constexpr quill::Duration kPowerTimeout = quill::seconds(20);  // some take as long to start

int fail(const Error& error)
{
    fmt::print(stderr, "rigsetup: {}\n", error.text());
    return 1;
}

const char* powerText(bool isOn)
{
    return isOn ? "on" : "standby: it refuses to move";
}

std::string addressText(int cameras)
{
    if (cameras == 0) return "1 (set at the camera: it does not answer address set)";
    return cameras == 1 ? "1" : fmt::format("1 (first of {} cameras on this line)", cameras);
}

/// @param isOn  written on success
std::optional<Error> show(const std::string& device, CameraSetup& camera, bool* isOn)
{
    CameraSetup::Version version;
    if (auto error = camera.readVersion(&version, kAnswerTimeout)) return error;
    if (auto error = camera.readPower(isOn, kAnswerTimeout)) return error;
    fmt::print(
        "VISCA camera on {}\n"
        "  Vendor    {:04x}\n"
        "  Model     {:04x}\n"
        "  ROM       {:04x}\n"
        "  Power     {}\n"
        "  Address   {}\n"
        "  Bit rate  {}\n",
        device, version.vendor, version.model, version.romRevision, powerText(*isOn),
        addressText(camera.cameras()), camera.bitRate());
    return std::nullopt;
}

int switchPower(CameraSetup& camera, const CameraOptions& options, bool isOn, const Asker& asker)
{
    const bool on = *options.power;
    const char* const goal = on ? "on" : "to standby";
    if (isOn == on) {
        fmt::print("It is {} already: nothing to change.\n", on ? "on" : "in standby");
        return 0;
    }
    const char* const effect =
        on ? "; it may drive to its home position" : "; it stops and refuses to move from then on";
    switch (asker.ask(fmt::format("Will switch it {}{}.", goal, effect))) {
        case Consent::DryRun: return 0;
        case Consent::Refused: return 1;
        case Consent::Given: break;
    }
    if (const auto error = camera.setPower(on, kPowerTimeout)) return fail(*error);
    fmt::print("Switched {}: the camera confirms it.\n", goal);
    return 0;
}

}  // namespace

int setUpCamera(const CameraOptions& options, const Asker& asker)
{
    CameraSetup camera;
    if (const auto error = camera.open(options.device, kOpenTimeout)) return fail(*error);
    bool isOn = false;
    if (const auto error = show(options.device, camera, &isOn)) return fail(*error);
    return options.power ? switchPower(camera, options, isOn, asker) : 0;
}

}  // namespace rigsetup
