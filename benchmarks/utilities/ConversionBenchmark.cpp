// Model arrays to image bytes: MultiArray compared with OpenCV (convertTo of each plane, then merge) and with
// a copy of the same number of bytes, which is the limit of the memory's bandwidth.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include "geoloom/utilities/MultiArray.h"

namespace {

constexpr int HEIGHT = 1080;
constexpr int WIDTH = 1920;
constexpr std::size_t PIXELS = std::size_t{HEIGHT} * WIDTH;

template <class T>
geoloom::MultiArray<T> array(std::vector<std::ptrdiff_t> shape) {
  geoloom::MultiArray<T> view(shape);
  std::mt19937 random(1);
  std::generate_n(view.pointer(), view.count(), [&] { return static_cast<T>(random() % 400) - T(50); });
  return view;
}

void report(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
}

template <class T>
void colourGeoloom(benchmark::State& state) {
  const auto view = array<T>({3, HEIGHT, WIDTH});
  for (auto _ : state) benchmark::DoNotOptimize(view.toRawBytesRGBA(T(1), T(2)));
  report(state, PIXELS * (3 * sizeof(T) + 4));
}

void colourGeoloomChannelsLast(benchmark::State& state) {
  const auto view = array<float>({HEIGHT, WIDTH, 3}).transposed({2, 0, 1});
  for (auto _ : state) benchmark::DoNotOptimize(view.toRawBytesRGBA(1, 2));
  report(state, PIXELS * 16);
}

void colourOpenCV(benchmark::State& state) {
  cv::setNumThreads(1);
  const auto view = array<float>({3, HEIGHT, WIDTH});
  const cv::Mat opaque(HEIGHT, WIDTH, CV_8UC1, cv::Scalar(255));
  for (auto _ : state) {
    std::vector<cv::Mat> planes(4);
    for (int c = 0; c < 3; ++c) {
      const cv::Mat plane(HEIGHT, WIDTH, CV_32FC1, &view(c, 0));
      plane.convertTo(planes[static_cast<std::size_t>(c)], CV_8U, 2, 2);  // (v + 1) * 2
    }
    planes[3] = opaque;
    cv::Mat result;
    cv::merge(planes, result);
    benchmark::DoNotOptimize(result.data);
  }
  report(state, PIXELS * 16);
}

template <class T>
void grayGeoloom(benchmark::State& state) {
  const auto view = array<T>({HEIGHT, WIDTH});
  for (auto _ : state) benchmark::DoNotOptimize(view.toRawBytesGray(T(1), T(2)));
  report(state, PIXELS * (sizeof(T) + 1));
}

void grayOpenCV(benchmark::State& state) {
  cv::setNumThreads(1);
  const auto view = array<float>({HEIGHT, WIDTH});
  const cv::Mat plane(HEIGHT, WIDTH, CV_32FC1, view.pointer());
  for (auto _ : state) {
    cv::Mat result;
    plane.convertTo(result, CV_8U, 2, 2);
    benchmark::DoNotOptimize(result.data);
  }
  report(state, PIXELS * 5);
}

/// Reads and writes 16 bytes per pixel, as the colour conversion does, into new memory.
void copyAsMuch(benchmark::State& state) {
  const std::vector<std::uint8_t> source(PIXELS * 8, 1);
  for (auto _ : state) {
    std::vector<std::uint8_t> result(source);
    benchmark::DoNotOptimize(result.data());
  }
  report(state, PIXELS * 16);
}

BENCHMARK(colourGeoloom<float>)->Unit(benchmark::kMicrosecond);
BENCHMARK(colourGeoloom<double>)->Unit(benchmark::kMicrosecond);
BENCHMARK(colourGeoloom<std::int32_t>)->Unit(benchmark::kMicrosecond);
BENCHMARK(colourGeoloomChannelsLast)->Unit(benchmark::kMicrosecond);
BENCHMARK(colourOpenCV)->Unit(benchmark::kMicrosecond);
BENCHMARK(grayGeoloom<float>)->Unit(benchmark::kMicrosecond);
BENCHMARK(grayOpenCV)->Unit(benchmark::kMicrosecond);
BENCHMARK(copyAsMuch)->Unit(benchmark::kMicrosecond);

}  // namespace
