#include "same_device.h"

#include <sys/stat.h>

namespace quill::app
{

bool isSameDevice(const std::string& path, const std::string& other)
{
    struct stat one = {};
    struct stat two = {};
    if (::stat(path.c_str(), &one) != 0 || ::stat(other.c_str(), &two) != 0) return false;
    if (S_ISCHR(one.st_mode) && S_ISCHR(two.st_mode)) return one.st_rdev == two.st_rdev;
    return one.st_dev == two.st_dev && one.st_ino == two.st_ino;
}

}  // namespace quill::app
