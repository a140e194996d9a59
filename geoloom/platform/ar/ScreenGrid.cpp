#include "geoloom/platform/ar/ScreenGrid.h"

#include <algorithm>
#include <array>
#include <utility>

#include "geoloom/base/Mutex.h"

namespace geoloom::platform {

/// Reuses the memory of destroyed grids. Without it, every frame's grid starts on memory that the system has
/// to map page by page, which takes longer than everything else in a frame's hit tests (docs/performance.md).
class ScreenGrid::Spares {
 public:
  static Spares& shared() {
    static auto& spares = *new Spares;  // never destroyed, as frames may outlive static objects
    return spares;
  }

  Storage take() {
    const base::MutexLock lock(mutex_);
    if (spares_.empty()) return {};
    Storage storage = std::move(spares_.back());
    spares_.pop_back();
    return storage;
  }

  void giveBack(Storage storage) {
    if (storage.sorted.capacity() > LARGEST) return;
    const base::MutexLock lock(mutex_);
    if (spares_.size() < MOST) spares_.push_back(std::move(storage));
  }

 private:
  static constexpr std::size_t MOST = 2;           ///< one frame is analysed at a time
  static constexpr std::size_t LARGEST = 200'000;  ///< points

  base::Mutex mutex_;
  std::vector<Storage> spares_ GEOLOOM_GUARDED_BY(mutex_);
};

namespace {

/// The radius of a hit test as a fraction of the captured image's width.
constexpr double HIT_RADIUS_SHARE = 1.0 / 80.0;

class Projection {
 public:
  explicit Projection(const ARCamera& camera) {
    for (std::size_t k = 0; k < 4; ++k) {
      const simd_float4& column = camera.transform().columns[k];
      pose_[k] = {static_cast<double>(column.x), static_cast<double>(column.y),
                  static_cast<double>(column.z)};
    }
    const auto& k = camera.intrinsics().columns;
    fx_ = static_cast<double>(k[0].x);
    fy_ = static_cast<double>(k[1].y);
    cx_ = static_cast<double>(k[2].x);
    cy_ = static_cast<double>(k[2].y);
  }

  /// A point as seen by the camera. The pixel is valid if the depth is positive.
  struct Place {
    double depth;
    double x;
    double y;
    double squaredDistance;
  };

  [[nodiscard]] Place of(const simd_float3& point) const {
    const auto& [right, up, back, eye] = pose_;
    const double dx = static_cast<double>(point.x) - eye[0];
    const double dy = static_cast<double>(point.y) - eye[1];
    const double dz = static_cast<double>(point.z) - eye[2];
    const double depth = -(dx * back[0] + dy * back[1] + dz * back[2]);
    return {depth, cx_ + fx_ * (dx * right[0] + dy * right[1] + dz * right[2]) / depth,
            cy_ - fy_ * (dx * up[0] + dy * up[1] + dz * up[2]) / depth, dx * dx + dy * dy + dz * dz};
  }

 private:
  std::array<std::array<double, 3>, 4> pose_;
  double fx_;
  double fy_;
  double cx_;
  double cy_;
};

}  // namespace

ScreenGrid::ScreenGrid(const ARCamera& camera, std::span<const simd_float3> points)
    : width_(camera.imageResolution().width), height_(camera.imageResolution().height) {
  const double radius = width_ * HIT_RADIUS_SHARE;
  if (!(radius > 0) || !std::isfinite(radius) || !(height_ > 0)) return;
  squaredRadius_ = radius * radius;
  reach_ = radius * (1 + 1e-6);
  cellsPerPixel_ = 1 / radius;
  columns_ = cells(width_);
  rows_ = cells(height_);
  storage_ = Spares::shared().take();
  fill(camera, points);
}

ScreenGrid::~ScreenGrid() {
  if (storage_.starts.capacity() > 0) Spares::shared().giveBack(std::move(storage_));
}

std::size_t ScreenGrid::cells(double length) const {
  constexpr double MOST = 512;
  return static_cast<std::size_t>(std::clamp(std::ceil(length * cellsPerPixel_), 1.0, MOST));
}

/// Projects the points and sorts them by cell with a counting sort.
void ScreenGrid::fill(const ARCamera& camera, std::span<const simd_float3> points) {
  auto& [starts, unsorted, sorted] = storage_;
  unsorted.clear();
  unsorted.reserve(points.size());
  // starts[c + 2] counts the points of cell c. After the summation, starts[c + 1] is the start of cell c, and
  // placing the points advances it to the cell's end.
  starts.assign(columns_ * rows_ + 2, 0);
  const Projection projection(camera);
  for (std::size_t i = 0; i < points.size(); ++i) {
    const Projection::Place p = projection.of(points[i]);
    if (!(p.depth > 0) || !std::isfinite(p.x) || !std::isfinite(p.y)) continue;
    const std::size_t c = cell(p.y, rows_) * columns_ + cell(p.x, columns_);
    ++starts[c + 2];
    const Hit hit{std::sqrt(p.squaredDistance), static_cast<std::uint32_t>(i)};
    unsorted.push_back({{p.x, p.y, hit}, static_cast<std::uint32_t>(c)});
  }
  for (std::size_t c = 2; c < starts.size(); ++c) starts[c] += starts[c - 1];
  sorted.resize(unsorted.size());
  for (const auto& [point, c] : unsorted) sorted[starts[c + 1]++] = point;
}

}  // namespace geoloom::platform
