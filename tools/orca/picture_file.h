#pragma once

#include <opencv2/core.hpp>

#include <string>

/// Writes an image as a PNG file that is there whole or not at all: it is written beside its place
/// and renamed, so that a reader keeps the old picture or gets the new one, and whatever has the
/// name, a link or a pipe, is replaced and not followed.
///
/// A picture that cannot be written is logged, category "kinect", with cause and remedy. The old
/// one is removed then, so that it is not taken for new; where that cannot be, the log says so.
/// @param path   with its folder
/// @param image  as cv::imencode() takes it; not empty
void writePicture(const std::string& path, const cv::Mat& image);
