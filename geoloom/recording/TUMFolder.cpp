#include "geoloom/recording/TUMFolder.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <utility>

#include "geoloom/base/ReadFile.h"

namespace geoloom {
namespace {

constexpr std::string_view blanks = " \t\r";

std::vector<std::string_view> words(std::string_view line) {
  std::vector<std::string_view> found;
  for (;;) {
    const std::size_t begin = line.find_first_not_of(blanks);
    if (begin == std::string_view::npos) return found;
    line.remove_prefix(begin);
    const std::size_t end = std::min(line.find_first_of(blanks), line.size());
    found.push_back(line.substr(0, end));
    line.remove_prefix(end);
  }
}

/// The finite number that the whole of `word` is.
std::optional<double> number(std::string_view word) {
  double value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc{} || end != word.data() + word.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

/// All words from `first` on as numbers, or nothing when one of them is none.
std::optional<std::vector<double>> numbers(const std::vector<std::string_view>& line, std::size_t first = 0) {
  std::vector<double> values;
  for (std::size_t i = first; i < line.size(); ++i) {
    const std::optional<double> value = number(line[i]);
    if (!value) return std::nullopt;
    values.push_back(*value);
  }
  return values;
}

/// Calls `visit` with the words and the number of every line that counts.
template <class Visit>
void forEachLine(std::string_view text, const Visit& visit) {
  for (std::size_t lineNumber = 1; !text.empty(); ++lineNumber) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::vector<std::string_view> line = words(text.substr(0, end));
    if (!line.empty() && line.front().front() != '#') visit(line, lineNumber);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

template <class Entry, class Parse>
TimedList<Entry> parseList(std::string_view text, const Parse& parse) {
  TimedList<Entry> list;
  forEachLine(text, [&](const std::vector<std::string_view>& line, std::size_t lineNumber) {
    if (std::optional<Entry> entry = parse(line)) {
      list.entries.push_back(std::move(*entry));
    } else if (list.torn.count++ == 0) {
      list.torn.first = lineNumber;
    }
  });
  std::stable_sort(list.entries.begin(), list.entries.end(),
                   [](const Entry& a, const Entry& b) { return a.time < b.time; });
  return list;
}

std::optional<TimedPath> parsePath(const std::vector<std::string_view>& line) {
  const std::optional<double> time = number(line[0]);
  if (!time || line.size() != 2) return std::nullopt;
  return TimedPath{*time, std::string(line[1])};
}

std::optional<TimedPose> parsePose(const std::vector<std::string_view>& line) {
  const std::optional<std::vector<double>> n = numbers(line);
  if (!n || n->size() != 8) return std::nullopt;
  const double length = std::hypot(std::hypot((*n)[4], (*n)[5]), std::hypot((*n)[6], (*n)[7]));
  if (!(length > 0)) return std::nullopt;
  return TimedPose{(*n)[0],
                   {(*n)[1], (*n)[2], (*n)[3]},
                   {(*n)[4] / length, (*n)[5] / length, (*n)[6] / length, (*n)[7] / length}};
}

/// The entry nearest to `time`, or null when none lies within `tolerance`.
template <class Entry>
const Entry* nearest(const std::vector<Entry>& entries, double time, double tolerance) {
  const auto after = std::lower_bound(entries.begin(), entries.end(), time,
                                      [](const Entry& entry, double t) { return entry.time < t; });
  const Entry* best = after == entries.end() ? nullptr : &*after;
  if (after != entries.begin()) {
    const Entry& before = *std::prev(after);
    if (best == nullptr || time - before.time <= best->time - time) best = &before;
  }
  return best != nullptr && std::abs(best->time - time) <= tolerance ? best : nullptr;
}

void associate(TUMFolder& folder, const std::vector<TimedPath>& images, const std::vector<TimedPath>& depths,
               const std::vector<TimedPose>& poses, double tolerance) {
  for (const TimedPath& image : images) {
    const TimedPath* depth = nearest(depths, image.time, tolerance);
    const TimedPose* pose = nearest(poses, image.time, tolerance);
    if (pose == nullptr) {
      ++folder.imagesWithoutPose;
    } else if (depth == nullptr) {
      ++folder.imagesWithoutDepth;
    } else {
      folder.entries.push_back({image.time, image.path, depth->path, *pose});
    }
  }
}

}  // namespace

TimedList<TimedPath> parseTimedPaths(std::string_view text) {
  return parseList<TimedPath>(text, parsePath);
}

TimedList<TimedPose> parseTimedPoses(std::string_view text) {
  return parseList<TimedPose>(text, parsePose);
}

std::optional<TUMCalibration> parseCalibration(std::string_view text) {
  std::optional<std::vector<double>> first;
  bool seen = false;
  forEachLine(text, [&](const std::vector<std::string_view>& line, std::size_t) {
    if (!std::exchange(seen, true)) first = numbers(line);
  });
  if (!first || first->size() < 4 || !((*first)[0] > 0) || !((*first)[1] > 0)) return std::nullopt;
  if (!std::all_of(first->begin() + 4, first->end(), [](double d) { return d == 0; })) return std::nullopt;
  return TUMCalibration{(*first)[0], (*first)[1], (*first)[2], (*first)[3]};
}

TUMCalibration defaultCalibration(std::size_t width, std::size_t height) {
  const auto w = static_cast<double>(width);
  const auto h = static_cast<double>(height);
  const double focal = 525.0 * w / 640.0;
  return {focal, focal, (w - 1) / 2, (h - 1) / 2};
}

base::Result<TUMFolder> readTUMFolder(const std::filesystem::path& folder, double tolerance) {
  constexpr std::uint64_t maximumListBytes = std::uint64_t{1} << 30;
  const auto read = [&](const char* name) { return base::readFile(folder / name, maximumListBytes); };
  const auto missing = [&](const char* name) {
    return base::Failure{
        (folder / name).string() +
        ": cannot be read; a recording is a folder with rgb.txt, depth.txt and groundtruth.txt"};
  };
  const base::Result<std::string> rgb = read("rgb.txt");
  if (!rgb) return missing("rgb.txt");
  const base::Result<std::string> depth = read("depth.txt");
  if (!depth) return missing("depth.txt");
  const base::Result<std::string> truth = read("groundtruth.txt");
  if (!truth) return missing("groundtruth.txt");

  TUMFolder result;
  std::error_code absent;
  if (std::filesystem::exists(folder / "calibration.txt", absent) || absent) {
    const base::Result<std::string> text = read("calibration.txt");
    if (text) result.calibration = parseCalibration(*text);
    if (!result.calibration) {
      return base::Failure{
          (folder / "calibration.txt").string() +
          ": must begin with \"fx fy cx cy\" in pixels; lens distortion is not undone, so rectify "
          "the images and leave it out"};
    }
  }
  const TimedList<TimedPath> images = parseTimedPaths(*rgb);
  const TimedList<TimedPath> depths = parseTimedPaths(*depth);
  const TimedList<TimedPose> poses = parseTimedPoses(*truth);
  result.tornImages = images.torn;
  result.tornDepths = depths.torn;
  result.tornPoses = poses.torn;
  associate(result, images.entries, depths.entries, poses.entries, tolerance);
  if (result.entries.empty()) {
    return base::Failure{folder.string() +
                         ": no image of rgb.txt has both a depth image and a pose of nearly its time"};
  }
  return result;
}

}  // namespace geoloom
