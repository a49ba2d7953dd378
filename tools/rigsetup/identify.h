#pragma once

#include "tools/rigsetup/options.h"

namespace rigsetup
{

/// Tells on standard output what is behind each serial device, and the whole-rig test for it.
/// @return the exit status
int identify(const IdentifyOptions& options, bool isDryRun);

}  // namespace rigsetup
