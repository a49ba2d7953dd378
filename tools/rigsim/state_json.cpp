#include "tools/rigsim/state_json.h"

#include <nlohmann/json.hpp>

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

std::string stateJson(const RigState& state)
{
    const nlohmann::ordered_json json = {{"time_ms", state.now.nanoseconds() / 1000000},
                                         {"camera", state.camera},
                                         {"servos", state.servos},
                                         {"laser", state.laser}};
    return json.dump(2) + "\n";
}

}  // namespace rigsim
