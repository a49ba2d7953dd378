// Preloaded into a program: its files /tmp/kinect_* stand in the folder PICTURES instead. The names
// are the same for all users of a computer, and what another one has there cannot be replaced.

#include <dlfcn.h>
#include <fcntl.h>

#include <cstdarg>
#include <cstdlib>
#include <string>

/// Seen by the dynamic linker, which prefers it to the C library's.
#define PREFERRED extern "C" __attribute__((visibility("default")))

namespace
{

template <typename Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

/// A picture, or the file with a dot before its name that becomes one.
std::string ownPath(const char* path)
{
    const std::string text = path;
    const bool isPicture =
        text.rfind("/tmp/kinect_", 0) == 0 || text.rfind("/tmp/.kinect_", 0) == 0;
    const char* const folder = std::getenv("PICTURES");
    return isPicture && folder != nullptr ? folder + text.substr(std::string("/tmp").size()) : text;
}

}  // namespace

PREFERRED int open(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return next<int(const char*, int, ...)>("open")(ownPath(path).c_str(), flags, mode);
}

PREFERRED int rename(const char* from, const char* to)
{
    return next<int(const char*, const char*)>("rename")(ownPath(from).c_str(),
                                                         ownPath(to).c_str());
}

PREFERRED int unlink(const char* path)
{
    return next<int(const char*)>("unlink")(ownPath(path).c_str());
}
