// The hit tests of an analysed frame: a hundred boxes with 4 x 4 samples each among the feature points in
// view. Every iteration has a new frame, so the projection is included.
#include <algorithm>
#include <random>

#include <benchmark/benchmark.h>

#include "geoloom/SceneUnderstanding/locate/SampleGrid.h"

#include "tests/platform/ar/PlainHitTest.h"

namespace geoloom::platform {
namespace {

constexpr int POINTS = 5000;
constexpr int BOXES = 100;
constexpr CGSize IMAGE{480, 360};
constexpr double VIEW_WIDTH = 360;
constexpr double VIEW_HEIGHT = 480;

std::vector<simd_float3> pointsInView() {
  std::mt19937 random(1);
  std::uniform_real_distribution<float> lateral(-0.5F, 0.5F);
  std::uniform_real_distribution<float> depth(0.5F, 4);
  std::vector<simd_float3> points;
  for (int i = 0; i < POINTS; ++i) {
    const float z = depth(random);
    points.push_back({lateral(random) * z, lateral(random) * z, -z});
  }
  return points;
}

/// The sample points of random boxes, as the detector computes them.
std::vector<CGPoint> samples() {
  std::mt19937 random(2);
  std::uniform_real_distribution<double> extent(0.1, 0.6);
  std::uniform_real_distribution<double> place(0, 1);
  std::vector<CGPoint> points;
  for (int i = 0; i < BOXES; ++i) {
    const double height = extent(random);
    const double width = extent(random);
    const double top = place(random) * (1 - height);
    const double left = place(random) * (1 - width);
    const CGRect onScreen = screenRect({top, left, top + height, left + width}, VIEW_WIDTH, VIEW_HEIGHT);
    forEachSample(imageRect(onScreen, VIEW_WIDTH, VIEW_HEIGHT), [&](CGPoint p) { points.push_back(p); });
  }
  return points;
}

ARFrame frameOf(const std::vector<simd_float3>& points) {
  simd_float3x3 k;
  k.columns = {{{500, 0, 0}, {0, 500, 0}, {239.5F, 179.5F, 1}}};
  return {nullptr, std::make_shared<ARCamera>(simd_float4x4{}, k, IMAGE), points, 0};
}

template <class HitTest>
void analysedFrames(benchmark::State& state, const HitTest& hitTest) {
  const auto points = pointsInView();
  const auto where = samples();
  for (auto _ : state) {
    const ARFrame frame = frameOf(points);
    for (const CGPoint& point : where) benchmark::DoNotOptimize(hitTest(frame, point));
  }
  state.counters["rays"] = static_cast<double>(where.size());
}

/// As in the detector.
void nearestHit(benchmark::State& state) {
  analysedFrames(state, [](const ARFrame& frame, CGPoint point) {
    return frame.nearestHit(point, ARHitTestResultType::featurePoint);
  });
}

void allHits(benchmark::State& state) {
  analysedFrames(state, [](const ARFrame& frame, CGPoint point) {
    return frame.hitTest(point, ARHitTestResultType::featurePoint);
  });
}

/// Only the first hit test, which is mostly the projection.
void projection(benchmark::State& state) {
  const auto points = pointsInView();
  for (auto _ : state) {
    const ARFrame frame = frameOf(points);
    benchmark::DoNotOptimize(frame.nearestHit({0.5, 0.5}, ARHitTestResultType::featurePoint));
  }
}

/// Checks every point for every sample, with the tests' linear search.
void plainWalk(benchmark::State& state) {
  analysedFrames(state, [](const ARFrame& frame, CGPoint point) { return test::plainHitTest(frame, point); });
}

/// A linear search over points projected beforehand, without sorting the hits.
void plainWalkOverProjectedPoints(benchmark::State& state) {
  struct Pixel {
    double x;
    double y;
  };
  const auto points = pointsInView();
  const auto where = samples();
  std::vector<Pixel> pixels;
  for (const simd_float3& p : points) {
    const double depth = -static_cast<double>(p.z);
    pixels.push_back(
        {239.5 + 500 * static_cast<double>(p.x) / depth, 179.5 - 500 * static_cast<double>(p.y) / depth});
  }
  constexpr double RADIUS = IMAGE.width / 80;
  for (auto _ : state) {
    for (const CGPoint& point : where) {
      const Pixel at{point.x * IMAGE.width - 0.5, point.y * IMAGE.height - 0.5};
      benchmark::DoNotOptimize(std::count_if(pixels.begin(), pixels.end(), [&](const Pixel& p) {
        const double dx = p.x - at.x;
        const double dy = p.y - at.y;
        return dx * dx + dy * dy <= RADIUS * RADIUS;
      }));
    }
  }
}

BENCHMARK(nearestHit)->Unit(benchmark::kMicrosecond);
BENCHMARK(allHits)->Unit(benchmark::kMicrosecond);
BENCHMARK(projection)->Unit(benchmark::kMicrosecond);
BENCHMARK(plainWalk)->Unit(benchmark::kMicrosecond);
BENCHMARK(plainWalkOverProjectedPoints)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace geoloom::platform
