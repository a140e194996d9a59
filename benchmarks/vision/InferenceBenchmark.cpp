#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>
#include <opencv2/dnn.hpp>

#include "geoloom/platform/imaging/CVPixelBuffer.h"
#include "geoloom/platform/vision/VNRequest.h"

// From the camera's picture to the network's outputs, beside OpenCV's engine alone on a prepared tensor. Both
// run on one thread.

namespace geoloom::platform {
namespace {

std::shared_ptr<CVPixelBuffer> cameraPicture() {
  auto picture = CVPixelBuffer::create(1920, 1440, CVPixelFormatType::BGRA32);
  for (std::size_t i = 0; i < picture->bytesPerRow() * picture->height(); ++i) {
    picture->baseAddress()[i] = static_cast<std::uint8_t>(i * 2654435761U >> 13);
  }
  return picture;
}

template <MLModelPrecision precision>
void requestHandler(benchmark::State& state) {
  MLModel::setPrecision(precision);
  const auto model = MLModel::create(GEOLOOM_MODEL);
  if (!model) return state.SkipWithError(model.failure().message.c_str());
  const auto vision = *VNCoreMLModel::create(*model);
  const auto picture = cameraPicture();
  for (auto _ : state) {
    const std::shared_ptr<VNCoreMLRequest> requests[] = {std::make_shared<VNCoreMLRequest>(vision, nullptr)};
    VNImageRequestHandler handler(picture, EXIFOrientation::rightTop);
    if (!handler.perform(requests)) return state.SkipWithError("the request failed");
    benchmark::DoNotOptimize(requests[0]->results());
  }
}
BENCHMARK(requestHandler<MLModelPrecision::float32>)->Unit(benchmark::kMillisecond);
BENCHMARK(requestHandler<MLModelPrecision::bfloat16>)->Unit(benchmark::kMillisecond);

void openCVAlone(benchmark::State& state) {
  const auto model = MLModel::create(GEOLOOM_MODEL);
  if (!model) return state.SkipWithError(model.failure().message.c_str());
  cv::dnn::Net net =
      cv::dnn::readNetFromONNX(std::string(GEOLOOM_MODEL) + "/" + (*model)->manifest().network);
  const int shape[] = {1, 3, 300, 300};
  cv::Mat input(4, shape, CV_32F);
  cv::randu(input, -1, 1);
  std::vector<cv::Mat> outputs;
  const std::vector<std::string> names = {"concat_1__0", "concat__0"};
  for (auto _ : state) {
    cv::parallel_for_(cv::Range(0, 1), [&](const cv::Range&) {
      net.setInput(input);
      net.forward(outputs, names);
    });
    benchmark::DoNotOptimize(outputs[0].data);
  }
}
BENCHMARK(openCVAlone)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace geoloom::platform
