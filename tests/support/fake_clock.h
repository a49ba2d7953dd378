#pragma once

#include "common/time.h"

/// A clock that stands still except in quill::sleep(), which returns at once. Takes the place of
/// the real one in every program that links fake_clock.cpp.
namespace support
{

/// Lets time pass, as a slow device does.
void advanceClock(quill::Duration span);

/// What quill::sleep() was asked for in all since the last call.
quill::Duration takeSlept();

}  // namespace support
