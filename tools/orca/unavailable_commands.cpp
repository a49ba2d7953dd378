#include "log.h"
#include "tools/orca/hardware_driver.h"

// The commands whose devices this build has no library for.

namespace
{

void reportUnavailable(const char* command)
{
    QUILL_LOGF(kFailure, kLogCategory, "The command %s is not available in this build.", command);
}

}  // namespace

void HardwareDriver::captureKinectImages()
{
    reportUnavailable("kinect");
}
