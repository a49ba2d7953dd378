#pragma once

#include "rig_guard.h"
#include "test_report.h"

namespace quill::app
{

/// The camera answers, and pan, tilt and zoom each move by a small step and back.
bool testCamera(const DeviceName& device, RigGuard& guard);

}  // namespace quill::app
