#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>
#include <opencv2/dnn.hpp>
#include <opencv2/imgproc.hpp>

#include "geoloom/platform/vision/ImagePreparation.h"

// From a landscape camera picture to the network's input: the kit's chain, which scales before it converts,
// beside the usual one.

namespace geoloom::platform {
namespace {

constexpr NetworkInput INPUT = {300, 300, false, 127.5F, -1};

std::shared_ptr<CVPixelBuffer> picture(CVPixelFormatType format) {
  auto buffer = CVPixelBuffer::create(1920, 1440, format);
  for (std::size_t plane = 0; plane < buffer->planeCount(); ++plane) {
    const std::size_t rows = plane == 0 ? 1440 : 720;
    for (std::size_t i = 0; i < buffer->bytesPerRow(plane) * rows; ++i) {
      buffer->baseAddress(plane)[i] = static_cast<std::uint8_t>(i * 2654435761U >> 13);
    }
  }
  return buffer;
}

template <CVPixelFormatType format>
void prepared(benchmark::State& state) {
  const auto buffer = picture(format);
  std::vector<float> planes(3 * INPUT.width * INPUT.height);
  // Inside a parallel loop OpenCV uses only the caller's thread.
  for (auto _ : state) {
    cv::parallel_for_(cv::Range(0, 1), [&](const cv::Range&) {
      prepareImage(*buffer, EXIFOrientation::rightTop, VNImageCropAndScaleOption::centerCrop, INPUT,
                   planes.data());
    });
    benchmark::DoNotOptimize(planes.data());
  }
}
BENCHMARK(prepared<CVPixelFormatType::BGRA32>)->Unit(benchmark::kMicrosecond);
BENCHMARK(prepared<CVPixelFormatType::ARGB32>)->Unit(benchmark::kMicrosecond);
BENCHMARK(prepared<CVPixelFormatType::biPlanarFullRange420>)->Unit(benchmark::kMicrosecond);

/// Inside a parallel loop the engine uses only the caller's thread, like the kit.
template <class Work>
void onOneThread(benchmark::State& state, const Work& work) {
  for (auto _ : state) {
    cv::parallel_for_(cv::Range(0, 1), [&](const cv::Range&) { work(); });
  }
}

void toInput(const cv::Mat& square, cv::Mat& blob) {
  cv::Mat turned;
  cv::rotate(square, turned, cv::ROTATE_90_CLOCKWISE);
  cv::dnn::blobFromImage(turned, blob, 1 / 127.5, {}, cv::Scalar(127.5, 127.5, 127.5), true);
  benchmark::DoNotOptimize(blob.data);
}

void resizeThenConvertBGRA(benchmark::State& state) {
  const auto buffer = picture(CVPixelFormatType::BGRA32);
  const cv::Mat whole(1440, 1920, CV_8UC4, buffer->baseAddress(), buffer->bytesPerRow());
  cv::Mat small;
  cv::Mat colours;
  cv::Mat blob;
  onOneThread(state, [&] {
    cv::resize(whole(cv::Rect(240, 0, 1440, 1440)), small, {300, 300}, 0, 0, cv::INTER_LINEAR);
    cv::cvtColor(small, colours, cv::COLOR_BGRA2BGR);
    toInput(colours, blob);
  });
}
BENCHMARK(resizeThenConvertBGRA)->Unit(benchmark::kMicrosecond);

void convertThenResizeBiPlanar(benchmark::State& state) {
  const auto buffer = picture(CVPixelFormatType::biPlanarFullRange420);
  const cv::Mat luma(1440, 1920, CV_8UC1, buffer->baseAddress(), buffer->bytesPerRow());
  const cv::Mat chroma(720, 960, CV_8UC2, buffer->baseAddress(1), buffer->bytesPerRow(1));
  cv::Mat colours;
  cv::Mat small;
  cv::Mat blob;
  onOneThread(state, [&] {
    cv::cvtColorTwoPlane(luma, chroma, colours, cv::COLOR_YUV2BGR_NV12);
    cv::resize(colours(cv::Rect(240, 0, 1440, 1440)), small, {300, 300}, 0, 0, cv::INTER_LINEAR);
    toInput(small, blob);
  });
}
BENCHMARK(convertThenResizeBiPlanar)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace geoloom::platform
