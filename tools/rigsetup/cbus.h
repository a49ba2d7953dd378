#pragma once

#include "tools/rigsetup/consent.h"
#include "tools/rigsetup/options.h"

namespace rigsetup
{

/// Shows the functions of an FT232R's CBUS pins, puts pins into I/O mode, or restores the EEPROM
/// from a backup. The content before is kept in a file first.
/// @return the exit status
int setUpCbus(const CbusOptions& options, const Asker& asker);

}  // namespace rigsetup
