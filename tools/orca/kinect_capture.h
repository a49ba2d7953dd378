#pragma once

/// Takes one colour and one infrared image and writes them as /tmp/kinect_rgb.png and
/// /tmp/kinect_ir.png, once it has both. Waits some 100 s for frames of both kinds, then gives up.
/// Says nothing of that: the sensor logs why it does not start. An image that cannot be written is
/// logged and the other one is written all the same. Main thread.
void captureKinectImages();
