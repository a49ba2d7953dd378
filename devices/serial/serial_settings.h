#pragma once

namespace quill
{

/// Makes the terminal line `fd` raw, 8N1, without flow control or modem lines, at any bit rate.
/// Apart from the rest because <asm/termbits.h>, which has the arbitrary rates, clashes with
/// <termios.h>.
/// @return 0, or the errno; ENOTTY when `fd` is no terminal line
int setRawLine(int fd, int bitRate);

/// The bit rate in force, as the driver reports it; 0 when it cannot be read.
int readBitRate(int fd);

}  // namespace quill
