#include "geoloom/recording/TUMFolder.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>

#include <fmt/format.h>

#include "geoloom/base/ReadFile.h"

namespace geoloom {
namespace {

constexpr std::string_view BLANKS = " \t\r";

std::vector<std::string_view> words(std::string_view line) {
  std::vector<std::string_view> found;
  for (;;) {
    const std::size_t begin = line.find_first_not_of(BLANKS);
    if (begin == std::string_view::npos) return found;
    line.remove_prefix(begin);
    const std::size_t end = std::min(line.find_first_of(BLANKS), line.size());
    found.push_back(line.substr(0, end));
    line.remove_prefix(end);
  }
}

/// Parses `word` as a finite number.
std::optional<double> number(std::string_view word) {
  double value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc{} || end != word.data() + word.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

/// Parses all words as numbers.
std::optional<std::vector<double>> numbers(const std::vector<std::string_view>& line) {
  std::vector<double> values;
  for (const std::string_view word : line) {
    const std::optional<double> value = number(word);
    if (!value) return std::nullopt;
    values.push_back(*value);
  }
  return values;
}

/// Calls `visit` with the words and the number of every line that is neither blank nor a comment.
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
    } else if (list.malformed.count++ == 0) {
      list.malformed.first = lineNumber;
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

/// The entry nearest to `time`, the earlier of two equally near ones; null if the list is empty.
template <class Entry>
const Entry* nearest(const std::vector<Entry>& entries, double time) {
  const auto after = std::lower_bound(entries.begin(), entries.end(), time,
                                      [](const Entry& entry, double t) { return entry.time < t; });
  const Entry* best = after == entries.end() ? nullptr : &*after;
  if (after != entries.begin()) {
    const Entry& before = *std::prev(after);
    if (best == nullptr || time - before.time <= best->time - time) best = &before;
  }
  return best;
}

template <class Entry>
double gapTo(const Entry* entry, double time) {
  return entry == nullptr ? std::numeric_limits<double>::infinity() : std::abs(entry->time - time);
}

void associate(TUMFolder& folder, const std::vector<TimedPath>& images, const std::vector<TimedPath>& depths,
               const std::vector<TimedPose>& poses, double tolerance) {
  for (const TimedPath& image : images) {
    const TimedPath* depth = nearest(depths, image.time);
    const TimedPose* pose = nearest(poses, image.time);
    if (gapTo(pose, image.time) > tolerance) {
      folder.withoutPose.add(gapTo(pose, image.time));
    } else if (gapTo(depth, image.time) > tolerance) {
      folder.withoutDepth.add(gapTo(depth, image.time));
    } else {
      folder.entries.push_back({image.time, image.path, depth->path, *pose});
    }
  }
}

std::optional<std::string> describe(const MalformedLines& lines, const char* file) {
  if (lines.count == 0) return std::nullopt;
  return fmt::format("{}: {} malformed {} skipped, the first is line {}", file, lines.count,
                     lines.count == 1 ? "line" : "lines", lines.first);
}

/// With fewer entries no mistake is reported.
constexpr std::size_t LEAST_EVIDENCE = 5;

/// Cameras deliver several images per second; times in milliseconds, read as seconds, are far apart.
std::optional<std::string> unlikelyTimes(const std::vector<TimedPath>& images) {
  constexpr double LONGEST_STEP = 5;
  if (images.size() < LEAST_EVIDENCE) return std::nullopt;
  std::vector<double> steps;
  for (std::size_t i = 1; i < images.size(); ++i) steps.push_back(images[i].time - images[i - 1].time);
  const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
  std::nth_element(steps.begin(), middle, steps.end());
  if (*middle < LONGEST_STEP) return std::nullopt;
  return fmt::format("rgb.txt: images are {:.4g} s apart; are the times in milliseconds instead of seconds?",
                     *middle);
}

/// If a walk moves but never turns, its rotations are probably missing or in another order of columns.
std::optional<std::string> unlikelyRotations(const std::vector<TimedPose>& poses) {
  if (poses.size() < LEAST_EVIDENCE) return std::nullopt;
  const auto all = [&](const auto& same) { return std::all_of(poses.begin(), poses.end(), same); };
  const TimedPose& first = poses.front();
  if (!all([&](const TimedPose& pose) { return pose.quaternion == first.quaternion; })) return std::nullopt;
  if (all([&](const TimedPose& pose) { return pose.position == first.position; })) return std::nullopt;
  return "groundtruth.txt: the camera moves but never turns; are the columns \"time tx ty tz qx qy qz qw\"?";
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

void UnmatchedImages::add(double gap) {
  leastGap = count == 0 ? gap : std::min(leastGap, gap);
  largestGap = std::max(largestGap, gap);
  ++count;
}

std::optional<std::string> describe(const UnmatchedImages& images, const char* partner, double tolerance) {
  if (images.count == 0) return std::nullopt;
  const std::string skipped = fmt::format("{} {} skipped: no {} within {} s", images.count,
                                          images.count == 1 ? "image" : "images", partner, tolerance);
  if (std::isinf(images.leastGap)) return skipped;
  constexpr double LARGEST_TOLERABLE_GAP = 1;
  const std::string least = fmt::format("{:.4g}", images.leastGap);
  const std::string largest = fmt::format("{:.4g}", images.largestGap);
  return fmt::format("{} (the nearest is {}{} s away; {})", skipped, least,
                     least == largest ? "" : " to " + largest,
                     images.leastGap <= LARGEST_TOLERABLE_GAP ? "a larger tolerance accepts it"
                                                              : "are the times of different clocks?");
}

base::Result<TUMFolder> readTUMFolder(const std::filesystem::path& folder, double tolerance) {
  constexpr std::uint64_t MAXIMUM_LIST_BYTES = std::uint64_t{1} << 30;
  const auto read = [&](const char* name) { return base::readFile(folder / name, MAXIMUM_LIST_BYTES); };
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
          "the images and omit it"};
    }
  }
  const TimedList<TimedPath> images = parseTimedPaths(*rgb);
  const TimedList<TimedPath> depths = parseTimedPaths(*depth);
  const TimedList<TimedPose> poses = parseTimedPoses(*truth);
  associate(result, images.entries, depths.entries, poses.entries, tolerance);
  for (const auto& warning : {describe(images.malformed, "rgb.txt"), describe(depths.malformed, "depth.txt"),
                              describe(poses.malformed, "groundtruth.txt"), unlikelyTimes(images.entries),
                              unlikelyRotations(poses.entries)})
    if (warning) result.warnings.push_back(*warning);
  if (!result.entries.empty()) return result;

  std::string reasons;
  const auto append = [&](const std::string& reason) { reasons += (reasons.empty() ? ": " : "; ") + reason; };
  if (images.entries.empty()) append("rgb.txt lists no image");
  if (const auto reason = describe(result.withoutPose, "pose", tolerance)) append(*reason);
  if (const auto reason = describe(result.withoutDepth, "depth image", tolerance)) append(*reason);
  for (const std::string& warning : result.warnings) append(warning);
  return base::Failure{folder.string() + ": no image has both a depth image and a pose" + reasons};
}

}  // namespace geoloom
