#include "serial_settings.h"

#include <asm/termbits.h>
#include <sys/ioctl.h>

#include <cerrno>

namespace quill
{

int setRawLine(int fd, int bitRate)
{
    struct termios2 line = {};
    if (::ioctl(fd, TCGETS2, &line) != 0) return errno;
    line.c_iflag = IGNBRK;
    line.c_oflag = 0;
    line.c_lflag = 0;
    line.c_cflag = CS8 | CREAD | CLOCAL | BOTHER;
    line.c_ispeed = line.c_ospeed = static_cast<speed_t>(bitRate);
    line.c_cc[VMIN] = 1;
    line.c_cc[VTIME] = 0;
    if (::ioctl(fd, TCSETS2, &line) != 0) return errno;
    return 0;
}

int readBitRate(int fd)
{
    struct termios2 line = {};
    if (::ioctl(fd, TCGETS2, &line) != 0) return 0;
    return static_cast<int>(line.c_ospeed);
}

}  // namespace quill
