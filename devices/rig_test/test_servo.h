#pragma once

#include "rig_guard.h"
#include "test_report.h"

namespace quill::app
{

/// The servo has this ID, is within its own limits, and moves by a small step and back.
bool testServo(const DeviceName& device, int id, RigGuard& guard);

}  // namespace quill::app
