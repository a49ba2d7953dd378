// Linked into a program, this opens the descriptors 0, 1 and 2 that it was started without on
// /dev/null, so that no device, event or file becomes one of them and is written to. That must come
// before the constructors of the shared libraries, of which one opens a pipe; only a program itself
// can have such code, and nothing but system calls works there.

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace
{

void openMissingDescriptors()
{
    // Standard output for reading only: what is written to it fails and is told, as it would if it
    // had stayed closed. Who closes standard error does not want to read it.
    static constexpr int modes[] = {O_RDONLY, O_RDONLY, O_WRONLY};
    for (int descriptor = 0; descriptor <= STDERR_FILENO; ++descriptor)
        if (::syscall(SYS_fcntl, descriptor, F_GETFD) < 0)  // takes the lowest number that is free
            ::syscall(SYS_openat, AT_FDCWD, "/dev/null", modes[descriptor]);
}

[[gnu::section(".preinit_array"), gnu::used]] void (*const s_first)() = openMissingDescriptors;

}  // namespace
