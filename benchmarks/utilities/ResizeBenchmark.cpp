// resizePixelBuffer (Lanczos with prefilter) beside OpenCV's area filter, which also prefilters, OpenCV's
// Lanczos, which does not, and libyuv's box filter. Each allocates its result, as resizePixelBuffer does.

#include <cstdint>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>
#include <libyuv.h>
#include <opencv2/imgproc.hpp>

#include "geoloom/utilities/PixelBuffer.h"

namespace {

struct Sizes {
  int sourceWidth, sourceHeight, width, height;
};

Sizes sizesOf(const benchmark::State& state) {
  return {static_cast<int>(state.range(0)), static_cast<int>(state.range(1)),
          static_cast<int>(state.range(2)), static_cast<int>(state.range(3))};
}

std::shared_ptr<geoloom::platform::CVPixelBuffer> image(const Sizes& sizes) {
  auto buffer = geoloom::createPixelBuffer(sizes.sourceWidth, sizes.sourceHeight);
  std::mt19937 random(1);
  for (std::size_t i = 0; i < buffer->bytesPerRow() * buffer->height(); ++i) {
    buffer->baseAddress()[i] = static_cast<std::uint8_t>(random());
  }
  return buffer;
}

void resizeGeoloom(benchmark::State& state) {
  const Sizes sizes = sizesOf(state);
  const auto source = image(sizes);
  for (auto _ : state)
    benchmark::DoNotOptimize(geoloom::resizePixelBuffer(source, sizes.width, sizes.height));
}

void resizeOpenCV(benchmark::State& state, int filter) {
  cv::setNumThreads(1);
  const Sizes sizes = sizesOf(state);
  const auto buffer = image(sizes);
  const cv::Mat source(sizes.sourceHeight, sizes.sourceWidth, CV_8UC4, buffer->baseAddress(),
                       buffer->bytesPerRow());
  for (auto _ : state) {
    cv::Mat result;
    cv::resize(source, result, {sizes.width, sizes.height}, 0, 0, filter);
    benchmark::DoNotOptimize(result.data);
  }
}

void resizeOpenCVArea(benchmark::State& state) {
  resizeOpenCV(state, cv::INTER_AREA);
}
void resizeOpenCVLanczos(benchmark::State& state) {
  resizeOpenCV(state, cv::INTER_LANCZOS4);
}

void resizeLibyuvBox(benchmark::State& state) {
  const Sizes sizes = sizesOf(state);
  const auto source = image(sizes);
  for (auto _ : state) {
    std::vector<std::uint8_t> result(static_cast<std::size_t>(sizes.width * sizes.height) * 4);
    libyuv::ARGBScale(source->baseAddress(), static_cast<int>(source->bytesPerRow()), sizes.sourceWidth,
                      sizes.sourceHeight, result.data(), sizes.width * 4, sizes.width, sizes.height,
                      libyuv::kFilterBox);
    benchmark::DoNotOptimize(result.data());
  }
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Args({1920, 1080, 300, 300})
      ->Args({1440, 1920, 300, 300})
      ->Args({640, 480, 300, 300})
      ->Args({300, 300, 1280, 960});
  benchmark->Unit(benchmark::kMicrosecond);
}
BENCHMARK(resizeGeoloom)->Apply(sizes);
BENCHMARK(resizeOpenCVArea)->Apply(sizes);
BENCHMARK(resizeOpenCVLanczos)->Apply(sizes);
BENCHMARK(resizeLibyuvBox)->Apply(sizes);

}  // namespace
