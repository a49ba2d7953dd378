#pragma once

#include <string>

#include "tools/rigsim/kinect_server.h"

namespace rigsim
{

/// The place of the Kinect in the USB tree: a port of the second bus, as a umockdev description.
/// Without the sensor, the bus alone.
std::string kinectUsbTree(const KinectState& kinect);

}  // namespace rigsim
