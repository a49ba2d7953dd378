#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/rigsim/camera_model.h"
#include "tools/rigsim/ft232r_model.h"
#include "tools/rigsim/kinect_server.h"
#include "tools/rigsim/laser_model.h"
#include "tools/rigsim/servo_model.h"

namespace rigsim
{

/// All devices at a simulated time.
struct RigState
{
    Time now;
    CameraState camera;
    std::vector<ServoState> servos;
    LaserState laser;
    std::vector<std::pair<std::string, AdapterState>> adapters;  ///< by the device of their line
    KinectState kinect;
};

/// The state of a rig as a JSON object, one member a device, and a line end.
std::string stateJson(const RigState& state);

}  // namespace rigsim
