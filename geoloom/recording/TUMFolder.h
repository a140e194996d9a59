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

/// The malformed lines of a text file.
struct MalformedLines {
  std::size_t count = 0;
  std::size_t first = 0;  ///< line number, counted from 1
};

/// The entries of a text file in order of time. Entries of equal time keep the order of the file.
template <class Entry>
struct TimedList {
  std::vector<Entry> entries;
  MalformedLines malformed;
};

struct TimedPath {
  double time = 0;   ///< seconds
  std::string path;  ///< relative to the folder
};

/// A camera pose in the published frames (world z up; camera x right, y down, z forward).
struct TimedPose {
  double time = 0;                                 ///< seconds
  std::array<double, 3> position{};                ///< metres
  std::array<double, 4> quaternion{{0, 0, 0, 1}};  ///< x, y, z, w; normalised
};

/// Pinhole calibration of the colour images in pixels; the centre of the first pixel is (0, 0).
struct TUMCalibration {
  double fx = 0;
  double fy = 0;
  double cx = 0;
  double cy = 0;
};

/// Parses lines of "time path". Skips blank lines and lines that begin with '#'.
[[nodiscard]] TimedList<TimedPath> parseTimedPaths(std::string_view text);
/// Parses lines of "time tx ty tz qx qy qz qw". Normalises quaternions; length 0 is malformed.
[[nodiscard]] TimedList<TimedPose> parseTimedPoses(std::string_view text);
/// Parses the first line, "fx fy cx cy". Further numbers on it must be 0, since lens distortion is not
/// undone.
[[nodiscard]] std::optional<TUMCalibration> parseCalibration(std::string_view text);
/// The default calibration of the published recordings, scaled to the size of the image.
[[nodiscard]] TUMCalibration defaultCalibration(std::size_t width, std::size_t height);

/// A colour image with the depth image and the pose nearest in time.
struct TUMEntry {
  double time = 0;
  std::string image;
  std::string depth;
  TimedPose pose;
};

/// The images without an entry of another list within the tolerance.
struct UnmatchedImages {
  std::size_t count = 0;
  double leastGap =
      0;  ///< seconds to the nearest entry, over all these images; infinite if the list is empty
  double largestGap = 0;

  void add(double gap);
};

/// The associated content of a recording's text files. No image is opened.
struct TUMFolder {
  std::vector<TUMEntry> entries;
  std::optional<TUMCalibration> calibration;
  UnmatchedImages withoutDepth;
  UnmatchedImages withoutPose;
  std::vector<std::string> warnings;  ///< malformed lines and probable mistakes, one line each
};

/// "2 images skipped: no pose within 0.02 s (the nearest is 0.03 s away)"; nothing if `images` is empty.
[[nodiscard]] std::optional<std::string> describe(const UnmatchedImages& images, const char* partner,
                                                  double tolerance);

/// Reads rgb.txt, depth.txt, groundtruth.txt and, if present, calibration.txt. Associates each image with the
/// nearest depth image and pose at most `tolerance` seconds away; of two equally near ones, with the earlier.
[[nodiscard]] base::Result<TUMFolder> readTUMFolder(const std::filesystem::path& folder, double tolerance);

}  // namespace geoloom
