#include "kinect_capture.h"
#include "kinect_module.h"

extern "C" __attribute__((visibility("default"))) void rigtool_kinect_capture()
{
    captureKinectImages();
}
