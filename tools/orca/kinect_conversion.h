#pragma once

#include <libfreenect2/frame_listener.hpp>
#include <opencv2/core.hpp>

/// Replaces *image with a colour frame, mirrored left to right: what the sensor sees as a mirror
/// image comes out the right way round.
/// @param frame  packed rows; of each pixel the first three bytes are taken (blue, green, red of
/// libfreenect2's BGRX)
/// @param image  becomes frame.height rows x frame.width columns, CV_8UC3, channels in the frame's
/// order, in memory of its own: other images that share the old one's are not touched
void kinectRGBToOpenCV(const libfreenect2::Frame& frame, cv::Mat* image);

/// Replaces *image with an infrared frame, mirrored as above. A pixel is the square root of the
/// intensity, cut off to a whole number, 255 at most; negative intensities and NaN give 0.
/// @param frame  packed rows of 4-byte floats
/// @param image  becomes frame.height rows x frame.width columns, CV_8UC1, in memory of its own
void kinectIRToOpenCV(const libfreenect2::Frame& frame, cv::Mat* image);
