#pragma once

#include <string>
#include <vector>

#include "tools/rigsim/camera_model.h"
#include "tools/rigsim/servo_model.h"

namespace rigsim
{

/// The state of a rig at a simulated time as a JSON object, one member a device, and a line end.
std::string stateJson(Time now, const CameraState& camera, const std::vector<ServoState>& servos);

}  // namespace rigsim
