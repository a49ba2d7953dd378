#pragma once

/// The one function of the module rigtool_kinect.so, which holds all that needs OpenCV and the
/// Kinect's driver: see captureKinectImages().
extern "C" void rigtool_kinect_capture();
