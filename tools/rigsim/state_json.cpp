#include "tools/rigsim/state_json.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "devices/gpio/ft232r_codec.h"

namespace rigsim
{

// Found by the library through the type, hence not in an unnamed namespace.
static void to_json(nlohmann::ordered_json& json, const CameraState& state)
{
    json = {
        {"pan", state.pan},           {"tilt", state.tilt},         {"zoom", state.zoom},
        {"panGoal", state.panGoal},   {"tiltGoal", state.tiltGoal}, {"zoomGoal", state.zoomGoal},
        {"isMoving", state.isMoving}, {"isOn", state.isOn},         {"isPlugged", state.isPlugged},
        {"packets", state.packets},   {"replies", state.replies},   {"moves", state.moves},
        {"refusals", state.refusals}};
}

static void to_json(nlohmann::ordered_json& json, const ServoState& state)
{
    json = {
        {"id", state.id},         {"baudNumber", state.baudNumber}, {"position", state.position},
        {"goal", state.goal},     {"isMoving", state.isMoving},     {"torque", state.torque},
        {"reads", state.reads},   {"writes", state.writes},         {"moves", state.moves},
        {"errors", state.errors}, {"isPlugged", state.isPlugged}};
}

static void to_json(nlohmann::ordered_json& json, const LaserState& state)
{
    json = {{"isOn", state.isOn},         {"isPlugged", state.isPlugged},
            {"packets", state.packets},   {"rejected", state.rejected},
            {"switches", state.switches}, {"switchedOn", state.switchedOn}};
}

static void to_json(nlohmann::ordered_json& json, const CbusPin& pin)
{
    json = {{"function", quill::ft232r::cbusFunctionName(pin.function)},
            {"isOutput", pin.isOutput},
            {"level", pin.level ? 1 : 0}};
}

static void to_json(nlohmann::ordered_json& json, const AdapterState& state)
{
    std::vector<std::string> bitModeRequests;  // "20F3"
    for (const uint16_t value : state.bitModeRequests)
        bitModeRequests.push_back(fmt::format("{:04X}", value));
    json = {{"pins", state.pins},
            {"bitMode", fmt::format("{:02X}", state.bitMode)},
            {"bitModeRequests", bitModeRequests},
            {"requests", state.requests},
            {"latencyMs", state.latencyMs},
            {"claims", state.claims},
            {"releases", state.releases},
            {"driverDetaches", state.driverDetaches},
            {"configurations", state.configurations},
            {"resets", state.resets},
            {"hasDriver", state.hasDriver},
            {"isPlugged", state.isPlugged}};
}

static void to_json(nlohmann::ordered_json& json, const KinectState& state)
{
    json = {{"isPlugged", state.isPlugged},
            {"hasPower", state.hasPower},
            {"usbSpeedMbit", state.usbSpeedMbit},
            {"isStreaming", state.isStreaming},
            {"starts", state.starts},
            {"stops", state.stops},
            {"colourFrames", state.colourFrames},
            {"infraredFrames", state.infraredFrames}};
}

std::string stateJson(const RigState& state)
{
    nlohmann::ordered_json adapters;
    for (const auto& [device, adapter] : state.adapters) adapters[device] = adapter;
    const nlohmann::ordered_json json = {{"time_ms", state.now.nanoseconds() / 1000000},
                                         {"camera", state.camera},
                                         {"servos", state.servos},
                                         {"laser", state.laser},
                                         {"adapters", adapters},
                                         {"kinect", state.kinect}};
    return json.dump(2) + "\n";
}

}  // namespace rigsim
