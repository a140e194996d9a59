#include "geoloom/recording/ARRecording.h"

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/imaging/CVPixelBuffer.h"
#include "geoloom/platform/imaging/PNG.h"
#include "geoloom/recording/FeatureCorners.h"
#include "geoloom/recording/RecordedCamera.h"
#include "geoloom/recording/TUMFolder.h"

namespace geoloom {
namespace {

constexpr double depthUnitsPerMetre = 5000;

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

/// A depth image together with the window that belongs to the sensor's image.
struct WindowedDepth {
  const platform::PNGImage& image;
  PortraitWindow window;

  /// Metres along the camera's axis at a pixel of the sensor's image; nothing in a hole.
  [[nodiscard]] std::optional<double> at(const Corner& corner) const {
    const std::size_t u = window.x + window.width - 1 - static_cast<std::size_t>(corner.y);
    const std::size_t v = window.y + static_cast<std::size_t>(corner.x);
    const std::uint16_t units = (*image.samples16())[v * image.width + u];
    if (units == 0) return std::nullopt;
    return units / depthUnitsPerMetre;
  }
};

/// The number of cases of one kind and the first of them.
struct Skipped {
  std::size_t count = 0;
  std::string first;

  void add(const std::string& what) {
    if (count++ == 0) first = what;
  }
};

std::string plural(std::size_t count, const char* one, const char* many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
}

}  // namespace

struct ARRecording::State {
  std::filesystem::path folder;
  ARRecordingOptions options;
  TUMFolder lists;
  RigidTransform sessionFromRecording;
  platform::simd_float4x4 sessionFromRecordingMatrix;
  Skipped images;
  Skipped depths;
  std::size_t cornersWithoutDepth = 0;

  [[nodiscard]] std::shared_ptr<platform::CVPixelBuffer> readImage(const TUMEntry& entry) {
    const base::Result<platform::PNGImage> image = platform::readPNG(folder / entry.image);
    if (!image) {
      images.add(image.failure().message);
      return nullptr;
    }
    auto buffer = platform::makePixelBuffer(*image);
    if (!buffer) images.add((folder / entry.image).string() + ": no memory for it");
    return buffer;
  }

  [[nodiscard]] std::optional<platform::PNGImage> readDepth(const TUMEntry& entry,
                                                            const platform::CVPixelBuffer& image) {
    base::Result<platform::PNGImage> depth = platform::readPNG(folder / entry.depth);
    if (!depth) {
      depths.add(depth.failure().message);
      return std::nullopt;
    }
    const bool fits = depth->width == image.width() && depth->height == image.height();
    if (!fits || depth->channels != 1 || depth->samples16() == nullptr) {
      depths.add((folder / entry.depth).string() +
                 ": must be gray of 16 bits and as large as the colour image");
      return std::nullopt;
    }
    return std::move(*depth);
  }

  /// Corners with a depth, as points of the session's world.
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
        ++cornersWithoutDepth;
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

std::vector<std::string> ARRecording::problems() const {
  std::vector<std::string> lines;
  const TUMFolder& lists = state_->lists;
  const auto torn = [&](const char* file, const TornLines& count) {
    if (count.count == 0) return;
    lines.push_back(fmt::format("{}: {} skipped, the first is line {}", file,
                                plural(count.count, "torn line", "torn lines"), count.first));
  };
  torn("rgb.txt", lists.tornImages);
  torn("depth.txt", lists.tornDepths);
  torn("groundtruth.txt", lists.tornPoses);
  const auto partner = [&](const char* what, std::size_t count) {
    if (count == 0) return;
    lines.push_back(fmt::format("{} skipped: no {} within {} s", plural(count, "image", "images"), what,
                                state_->options.associationTolerance));
  };
  partner("pose", lists.imagesWithoutPose);
  partner("depth image", lists.imagesWithoutDepth);
  const auto unreadable = [&](const char* one, const char* many, const Skipped& skipped) {
    if (skipped.count == 0) return;
    lines.push_back(
        fmt::format("{} skipped, the first: {}", plural(skipped.count, one, many), skipped.first));
  };
  unreadable("frame without a readable image", "frames without a readable image", state_->images);
  unreadable("frame without a readable depth image", "frames without a readable depth image", state_->depths);
  if (state_->cornersWithoutDepth > 0) {
    lines.push_back(
        fmt::format("{} skipped: no depth there", plural(state_->cornersWithoutDepth, "corner", "corners")));
  }
  return lines;
}

}  // namespace geoloom
