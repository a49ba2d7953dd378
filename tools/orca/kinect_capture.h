#pragma once

/// Takes one colour and one infrared image and writes them as /tmp/kinect_rgb.png and
/// /tmp/kinect_ir.png, both or none. Waits some 100 s for frames of both kinds, then gives up. Says
/// nothing: the sensor logs why it does not start. Main thread.
void captureKinectImages();
