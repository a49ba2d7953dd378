#pragma once

/// Prints a table of all serial devices on standard output: where they are, what they are, whether
/// this user may open them and who uses them. Nothing is opened.
/// @return the exit status: 0
int listDevices();
