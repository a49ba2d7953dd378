#include "kinect_module.h"

#include <dlfcn.h>

#include <filesystem>

#include "log.h"
#include "tools/orca/hardware_driver.h"

// OpenCV's image files alone bring 140 libraries, some 60 ms at every start. Only the one command
// that needs them pays for that, and only a computer with a sensor has to have them: the module is
// a package of its own.

namespace
{

namespace fs = std::filesystem;

using Capture = decltype(&rigtool_kinect_capture);

/// Found from the program's own place, built or installed.
fs::path modulePath()
{
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    return program.parent_path().parent_path() / "lib/rigtool/rigtool_kinect.so";
}

/// @return null when it cannot be loaded; the cause is logged
Capture loadCapture()
{
    const fs::path path = modulePath();
    if (std::error_code error; !fs::exists(path, error)) {
        QUILL_LOGF(kFailure, kLogCategory,
                   "No Kinect module %s: install the package rigtool-kinect", path.c_str());
        return nullptr;
    }
    void* const module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* const entry = module == nullptr ? nullptr : ::dlsym(module, "rigtool_kinect_capture");
    if (entry == nullptr)
        QUILL_LOGF(kFailure, kLogCategory, "Failed to load the Kinect module %s: %s", path.c_str(),
                   ::dlerror());
    return reinterpret_cast<Capture>(entry);
}

}  // namespace

void HardwareDriver::captureKinectImages()
{
    // Loaded once and kept: libraries that may have threads of their own are not to be unloaded.
    static Capture capture = nullptr;
    if (capture == nullptr) capture = loadCapture();
    if (capture != nullptr) capture();
}
