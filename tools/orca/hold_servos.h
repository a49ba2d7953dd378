#pragma once

#include "servo_bus.h"

/// Tells both servos to hold where they are: their present positions become their goals. Each is
/// tried three times, 0.5 s in all; one that does not answer, or not with a good checksum, is left
/// as it is. Interrupts wait until it is done.
void holdServos(const PanTiltServos& servos);
void holdServos(DxlDevice* bus);
