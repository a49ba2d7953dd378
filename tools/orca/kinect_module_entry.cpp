#include "kinect_module.h"
#include "tools/orca/kinect_capture.h"

extern "C" __attribute__((visibility("default"))) void rigtool_kinect_capture()
{
    captureKinectImages();
}
