#pragma once

#include <array>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "geoloom/base/Result.h"

namespace geoloom {

/// Lines of a text file that are not what they should be.
struct TornLines {
  std::size_t count = 0;
  std::size_t first = 0;  ///< its number, counted from 1
};

/// A list of one text file, in order of time; entries of equal time keep the order of the file.
template <class Entry>
struct TimedList {
  std::vector<Entry> entries;
  TornLines torn;
};

struct TimedPath {
  double time = 0;   ///< seconds
  std::string path;  ///< relative to the folder
};

/// Where the camera stood: the published frames (world z up; camera x right, y down, z forward).
struct TimedPose {
  double time = 0;                                 ///< seconds
  std::array<double, 3> position{};                ///< metres
  std::array<double, 4> quaternion{{0, 0, 0, 1}};  ///< x, y, z, w; of length 1
};

/// Pinhole calibration of the colour images in pixels; the centre of the first pixel is (0, 0).
struct TUMCalibration {
  double fx = 0;
  double fy = 0;
  double cx = 0;
  double cy = 0;
};

/// "time path" a line; blank lines and lines that begin with '#' do not count.
[[nodiscard]] TimedList<TimedPath> parseTimedPaths(std::string_view text);
/// "time tx ty tz qx qy qz qw" a line. Quaternions of any length but 0 are brought to length 1.
[[nodiscard]] TimedList<TimedPose> parseTimedPoses(std::string_view text);
/// The first line with "fx fy cx cy"; further numbers on it must be 0, since lens distortion is not undone.
[[nodiscard]] std::optional<TUMCalibration> parseCalibration(std::string_view text);
/// What the published recordings are calibrated to where they say nothing, brought to the size of the image.
[[nodiscard]] TUMCalibration defaultCalibration(std::size_t width, std::size_t height);

/// One image with the depth image and the pose that are nearest in time.
struct TUMEntry {
  double time = 0;
  std::string image;
  std::string depth;
  TimedPose pose;
};

/// A recording's text files, read and associated. No image is opened.
struct TUMFolder {
  std::vector<TUMEntry> entries;
  std::optional<TUMCalibration> calibration;
  TornLines tornImages;
  TornLines tornDepths;
  TornLines tornPoses;
  std::size_t imagesWithoutDepth = 0;
  std::size_t imagesWithoutPose = 0;
};

/// Reads rgb.txt, depth.txt, groundtruth.txt and, where there is one, calibration.txt. Partners may lie
/// `tolerance` seconds apart, both ends included; of two equally near ones the earlier counts.
[[nodiscard]] base::Result<TUMFolder> readTUMFolder(const std::filesystem::path& folder, double tolerance);

}  // namespace geoloom
