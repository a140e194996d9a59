#include <random>

#include <benchmark/benchmark.h>

#include "tests/platform/ar/PlainHitTest.h"

// One analysed frame asks for about 1,600 hits (a hundred boxes of 4 x 4 samples) among the points in view.

namespace geoloom::platform {
namespace {

constexpr int pointCount = 5000;
constexpr int rayCount = 1600;

std::vector<simd_float3> pointsInView() {
  std::mt19937 random(1);
  std::uniform_real_distribution<float> lateral(-0.5F, 0.5F);
  std::uniform_real_distribution<float> depth(0.5F, 4);
  std::vector<simd_float3> points;
  for (int i = 0; i < pointCount; ++i) {
    const float z = depth(random);
    points.push_back({lateral(random) * z, lateral(random) * z, -z});
  }
  return points;
}

std::vector<CGPoint> rays() {
  std::mt19937 random(2);
  std::uniform_real_distribution<double> share(0, 1);
  std::vector<CGPoint> points;
  for (int i = 0; i < rayCount; ++i) points.push_back({share(random), share(random)});
  return points;
}

ARFrame frameOf(const std::vector<simd_float3>& points) {
  simd_float3x3 k;
  k.columns = {{{500, 0, 0}, {0, 500, 0}, {239.5F, 179.5F, 1}}};
  return {nullptr, std::make_shared<ARCamera>(simd_float4x4{}, k, CGSize{480, 360}), points, 0};
}

// A fresh frame each time: its projection is part of the price.
void screenGrid(benchmark::State& state) {
  const auto points = pointsInView();
  const auto where = rays();
  for (auto _ : state) {
    const ARFrame frame = frameOf(points);
    for (const CGPoint& point : where) {
      benchmark::DoNotOptimize(frame.hitTest(point, ARHitTestResultType::featurePoint));
    }
  }
  state.SetItemsProcessed(state.iterations() * rayCount);
}
BENCHMARK(screenGrid)->Unit(benchmark::kMicrosecond);

void plainWalk(benchmark::State& state) {
  const auto points = pointsInView();
  const auto where = rays();
  for (auto _ : state) {
    const ARFrame frame = frameOf(points);
    for (const CGPoint& point : where) benchmark::DoNotOptimize(test::plainHitTest(frame, point));
  }
  state.SetItemsProcessed(state.iterations() * rayCount);
}
BENCHMARK(plainWalk)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace geoloom::platform
