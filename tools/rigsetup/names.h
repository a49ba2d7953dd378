#pragma once

#include "tools/rigsetup/consent.h"
#include "tools/rigsetup/options.h"

namespace rigsetup
{

/// Gives the adapters of this rig names that stay: a udev rule, on standard output or installed.
/// @return the exit status; 1 also where an adapter cannot be told from another
int nameAdapters(const NamesOptions& options, const Asker& asker);

}  // namespace rigsetup
