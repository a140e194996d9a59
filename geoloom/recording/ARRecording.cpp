#include "geoloom/recording/ARRecording.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <utility>

#include <fmt/format.h>

#include "geoloom/base/ReadFile.h"
#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"
#include "geoloom/platform/imaging/JPEG.h"
#include "geoloom/platform/imaging/PNG.h"
#include "geoloom/recording/FeatureCorners.h"
#include "geoloom/recording/RecordedCamera.h"
#include "geoloom/recording/TUMFolder.h"

namespace geoloom {
namespace {

constexpr double DEPTH_UNITS_PER_METRE = 5000;
/// 1.2 m in units of 1/5000 m. Depths in millimetres, read in these units, make the walls of a room nearer.
constexpr std::uint16_t IMPLAUSIBLY_NEAR = 6000;
/// With fewer depth images no mistake is reported.
constexpr std::size_t LEAST_EVIDENCE = 5;
constexpr std::uint64_t MAXIMUM_IMAGE_BYTES = std::uint64_t{1} << 30;

/// Reads a PNG or JPEG file into a BGRA buffer.
base::Result<std::shared_ptr<platform::CVPixelBuffer>> readPicture(const std::filesystem::path& path) {
  const auto file = base::readFile(path, MAXIMUM_IMAGE_BYTES);
  if (!file) return file.failure();
  const std::string& text = *file;
  const std::span bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  if (platform::isJPEG(bytes)) return platform::decodeJPEG(bytes, path.string());
  const auto image = platform::decodePNG(bytes, path.string());
  if (!image) return image.failure();
  auto buffer = platform::makePixelBuffer(*image);
  if (!buffer) return base::Failure{path.string() + ": out of memory"};
  return buffer;
}

/// The window of an upright BGRA picture, turned 90 degrees counter-clockwise.
std::shared_ptr<platform::CVPixelBuffer> turned(const platform::CVPixelBuffer& upright,
                                                const PortraitWindow& window) {
  auto sensor = platform::CVPixelBuffer::create(window.height, window.width, upright.pixelFormatType());
  if (!sensor) return nullptr;
  for (std::size_t v = 0; v < window.height; ++v) {
    const auto* row = reinterpret_cast<const std::uint32_t*>(upright.baseAddress() +
                                                             (window.y + v) * upright.bytesPerRow()) +
                      window.x;
    for (std::size_t u = 0; u < window.width; ++u) {
      auto* out = sensor->baseAddress() + (window.width - 1 - u) * sensor->bytesPerRow();
      reinterpret_cast<std::uint32_t*>(out)[v] = row[u];
    }
  }
  return sensor;
}

/// A depth image and the window of it that corresponds to the sensor's image.
struct WindowedDepth {
  const platform::PNGImage& image;
  PortraitWindow window;

  /// Metres along the camera's axis at a pixel of the sensor's image; nothing if the depth is unknown.
  [[nodiscard]] std::optional<double> at(const Corner& corner) const {
    const std::size_t u = window.x + window.width - 1 - static_cast<std::size_t>(corner.y);
    const std::size_t v = window.y + static_cast<std::size_t>(corner.x);
    const std::uint16_t units = (*image.samples16())[v * image.width + u];
    if (units == 0) return std::nullopt;
    return units / DEPTH_UNITS_PER_METRE;
  }
};

/// The number of skipped items and the description of the first.
struct Skipped {
  std::size_t count = 0;
  std::string first;

  void add(const std::string& what) {
    if (count++ == 0) first = what;
  }
};

/// The faults of the frames read so far.
struct Faults {
  Skipped images;
  Skipped depths;
  std::size_t cornersWithoutDepth = 0;
  std::size_t depthsRead = 0;
  std::uint16_t farthestDepth = 0;  ///< the largest farDepth() of all frames
};

std::string plural(std::size_t count, const char* one, const char* many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
}

/// The depth in units that nine tenths of the known pixels do not exceed, from every 16th row and column; 0
/// if none is known.
std::uint16_t farDepth(const platform::PNGImage& depth) {
  const auto& units = *depth.samples16();
  std::vector<std::uint16_t> known;
  for (std::size_t y = 0; y < depth.height; y += 16) {
    for (std::size_t x = 0; x < depth.width; x += 16)
      if (const std::uint16_t value = units[y * depth.width + x]; value != 0) known.push_back(value);
  }
  if (known.empty()) return 0;
  const auto at = known.begin() + static_cast<std::ptrdiff_t>(known.size() * 9 / 10);
  std::nth_element(known.begin(), at, known.end());
  return *at;
}

}  // namespace

struct ARRecording::State {
  std::filesystem::path folder;
  ARRecordingOptions options;
  TUMFolder lists;
  RigidTransform sessionFromRecording;
  platform::simd_float4x4 sessionFromRecordingMatrix;
  Faults faults;

  [[nodiscard]] std::shared_ptr<platform::CVPixelBuffer> readImage(const TUMEntry& entry) {
    const auto picture = readPicture(folder / entry.image);
    if (picture) return *picture;
    faults.images.add(picture.failure().message);
    return nullptr;
  }

  [[nodiscard]] std::optional<platform::PNGImage> readDepth(const TUMEntry& entry,
                                                            const platform::CVPixelBuffer& image) {
    base::Result<platform::PNGImage> depth = platform::readPNG(folder / entry.depth);
    if (!depth) {
      faults.depths.add(depth.failure().message);
      return std::nullopt;
    }
    const bool isWide = depth->samples16() != nullptr;
    if (depth->width != image.width() || depth->height != image.height() || depth->channels != 1 || !isWide) {
      faults.depths.add(fmt::format(
          "{}: is {}-bit {} of {} x {}; must be 16-bit gray of {} x {} like the colour image",
          (folder / entry.depth).string(), isWide ? 16 : 8, depth->channels == 1 ? "gray" : "colour",
          depth->width, depth->height, image.width(), image.height()));
      return std::nullopt;
    }
    ++faults.depthsRead;
    faults.farthestDepth = std::max(faults.farthestDepth, farDepth(*depth));
    return std::move(*depth);
  }

  /// The corners whose depth is known, as points of the session's world.
  [[nodiscard]] std::vector<platform::simd_float3> featurePoints(const platform::CVPixelBuffer& sensorImage,
                                                                 const WindowedDepth& depth,
                                                                 const TUMCalibration& k,
                                                                 const RigidTransform& camera) {
    const std::vector<Corner> corners = findCorners(sensorImage);
    std::vector<platform::simd_float3> points;
    points.reserve(corners.size());
    for (const Corner& corner : corners) {
      const std::optional<double> metres = depth.at(corner);
      if (!metres) {
        ++faults.cornersWithoutDepth;
        continue;
      }
      const std::array<double, 3> p =
          camera.apply({(corner.x - k.cx) / k.fx * *metres, -(corner.y - k.cy) / k.fy * *metres, -*metres});
      points.push_back({static_cast<float>(p[0]), static_cast<float>(p[1]), static_cast<float>(p[2])});
    }
    return points;
  }
};

ARRecording::ARRecording() : state_(std::make_unique<State>()) {}
ARRecording::~ARRecording() = default;

base::Result<std::shared_ptr<ARRecording>> ARRecording::open(const std::filesystem::path& folder,
                                                             const ARRecordingOptions& options) {
  base::Result<TUMFolder> lists = readTUMFolder(folder, options.associationTolerance);
  if (!lists) return lists.failure();
  const std::shared_ptr<ARRecording> recording(new ARRecording);
  State& state = *recording->state_;
  state.folder = folder;
  state.options = options;
  state.lists = std::move(*lists);
  if (options.continues) {
    state.sessionFromRecording = options.continues->state_->sessionFromRecording;
  } else if (options.origin == ARRecordingOptions::Origin::firstFrame) {
    state.sessionFromRecording = sessionFromWorld(uprightCamera(state.lists.entries.front().pose));
  }
  state.sessionFromRecordingMatrix = state.sessionFromRecording.matrix();
  return recording;
}

std::size_t ARRecording::frameCount() const {
  return state_->lists.entries.size();
}

double ARRecording::timestamp(std::size_t index) const {
  if (index >= frameCount()) return std::numeric_limits<double>::quiet_NaN();
  return state_->lists.entries[index].time;
}

const platform::simd_float4x4& ARRecording::sessionFromRecording() const {
  return state_->sessionFromRecordingMatrix;
}

std::shared_ptr<const platform::ARFrame> ARRecording::frame(std::size_t index) {
  if (index >= frameCount()) return nullptr;
  const TUMEntry& entry = state_->lists.entries[index];
  const auto upright = state_->readImage(entry);
  if (!upright) return nullptr;
  const std::optional<platform::PNGImage> depth = state_->readDepth(entry, *upright);
  if (!depth) return nullptr;
  const PortraitWindow window =
      portraitWindow(upright->width(), upright->height(), state_->options.portraitAspect);
  const auto image = turned(*upright, window);
  if (!image) return nullptr;

  const TUMCalibration k = sensorCalibration(
      state_->lists.calibration.value_or(defaultCalibration(upright->width(), upright->height())), window);
  const RigidTransform pose = state_->sessionFromRecording * sensorCamera(uprightCamera(entry.pose));
  platform::simd_float3x3 intrinsics;
  intrinsics.columns = {{{static_cast<float>(k.fx), 0, 0},
                         {0, static_cast<float>(k.fy), 0},
                         {static_cast<float>(k.cx), static_cast<float>(k.cy), 1}}};
  const platform::CGSize resolution{static_cast<double>(image->width()),
                                    static_cast<double>(image->height())};
  return std::make_shared<const platform::ARFrame>(
      image, std::make_shared<const platform::ARCamera>(pose.matrix(), intrinsics, resolution),
      state_->featurePoints(*image, {*depth, window}, k, pose), entry.time);
}

base::Result<std::shared_ptr<const platform::ARFrame>> ARRecording::firstReadableFrame() {
  const Faults before = state_->faults;
  for (std::size_t i = 0; i < frameCount(); ++i) {
    const auto readable = frame(i);
    if (!readable) continue;
    // The caller is likely to read the frames again, and each fault must be counted once.
    state_->faults = before;
    return readable;
  }
  const Skipped& skipped = state_->faults.images.count > 0 ? state_->faults.images : state_->faults.depths;
  return base::Failure{fmt::format("{}: none of {} can be read; the first fault: {}", state_->folder.string(),
                                   plural(frameCount(), "frame", "frames"), skipped.first)};
}

std::vector<std::string> ARRecording::problems() const {
  const TUMFolder& lists = state_->lists;
  const Faults& faults = state_->faults;
  std::vector<std::string> lines = lists.warnings;
  const double tolerance = state_->options.associationTolerance;
  if (const auto line = describe(lists.withoutPose, "pose", tolerance)) lines.push_back(*line);
  if (const auto line = describe(lists.withoutDepth, "depth image", tolerance)) lines.push_back(*line);
  const auto unreadable = [&](const char* one, const char* many, const Skipped& skipped) {
    if (skipped.count == 0) return;
    lines.push_back(
        fmt::format("{} skipped, the first: {}", plural(skipped.count, one, many), skipped.first));
  };
  unreadable("frame without a readable image", "frames without a readable image", faults.images);
  unreadable("frame without a readable depth image", "frames without a readable depth image", faults.depths);
  if (faults.cornersWithoutDepth > 0) {
    lines.push_back(
        fmt::format("{} skipped: no depth there", plural(faults.cornersWithoutDepth, "corner", "corners")));
  }
  if (faults.depthsRead >= LEAST_EVIDENCE && faults.farthestDepth < IMPLAUSIBLY_NEAR) {
    lines.push_back(fmt::format(
        "depth: almost nothing is farther than {:.2g} m; if the images hold millimetres, multiply "
        "them by 5, since a unit is 1/5000 m",
        faults.farthestDepth / DEPTH_UNITS_PER_METRE));
  }
  return lines;
}

}  // namespace geoloom
