#pragma once

#include "tools/rigsetup/consent.h"
#include "tools/rigsetup/options.h"

namespace rigsetup
{

/// Shows a camera on standard output and switches it on or to standby where that is asked for.
/// @return the exit status
int setUpCamera(const CameraOptions& options, const Asker& asker);

}  // namespace rigsetup
