// From the network's outputs to ranked boxes, and suppression compared with OpenCV's. The argument of the
// first two is the number of scores in 10,000 that exceed the threshold.
#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>
#include <opencv2/dnn.hpp>

#include "geoloom/SceneUnderstanding/boxes/Ranking.h"
#include "geoloom/SceneUnderstanding/boxes/SSDAnchors.h"
#include "geoloom/SceneUnderstanding/boxes/SSDPostProcessor.h"
#include "geoloom/platform/vision/MLMultiArray.h"

namespace geoloom {
namespace {

constexpr std::size_t ANCHORS = SSDAnchors::COUNT;
constexpr std::size_t CLASSES = 90;

using platform::MLMultiArray;

struct Outputs {
  std::shared_ptr<MLMultiArray> scores;
  std::shared_ptr<MLMultiArray> boxes;
};

template <class Draw>
std::shared_ptr<MLMultiArray> arrayOf(std::size_t rows, const Draw& draw) {
  auto array = MLMultiArray::create({static_cast<std::ptrdiff_t>(rows), static_cast<std::ptrdiff_t>(ANCHORS)},
                                    platform::MLMultiArrayDataType::float32);
  std::generate_n(static_cast<float*>(array->dataPointer()), array->count(), draw);
  return array;
}

Outputs outputsOf(std::int64_t passing) {
  std::mt19937 random(42);
  std::uniform_int_distribution<std::int64_t> lot(0, 9999);
  std::uniform_real_distribution<float> low(-9, -1);
  std::uniform_real_distribution<float> high(0.1F, 5);
  std::normal_distribution<float> encoding(0, 1);
  return {arrayOf(CLASSES + 1, [&] { return lot(random) < passing ? high(random) : low(random); }),
          arrayOf(4, [&] { return encoding(random); })};
}

SSDPostProcessor processor() {
  return {static_cast<std::int64_t>(ANCHORS), CLASSES, 0.01};
}

void postprocess(benchmark::State& state) {
  const auto kit = processor();
  const auto outputs = outputsOf(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(kit.postprocess(*outputs.boxes, *outputs.scores));
}

void wholeFrame(benchmark::State& state) {
  const auto kit = processor();
  const auto outputs = outputsOf(state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(kit.nonMaximumSuppression(kit.postprocess(*outputs.boxes, *outputs.scores)));
  }
}

std::vector<NMSPrediction> boxesOf(std::int64_t count) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> place(0, 260);
  std::uniform_real_distribution<double> extent(10, 60);
  std::uniform_real_distribution<float> score(0.02F, 1);
  std::vector<NMSPrediction> boxes(static_cast<std::size_t>(count));
  for (auto& box : boxes) {
    box = {0, score(random), {{place(random), place(random)}, {extent(random), extent(random)}}};
  }
  return boxes;
}

void suppress(benchmark::State& state) {
  const auto boxes = boxesOf(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(nonMaxSuppression(boxes, 0.3F, 1000000));
}

void suppressOpenCV(benchmark::State& state) {
  std::vector<cv::Rect2d> rects;
  std::vector<float> scores;
  for (const auto& box : boxesOf(state.range(0))) {
    rects.emplace_back(box.rect.origin.x, box.rect.origin.y, box.rect.size.width, box.rect.size.height);
    scores.push_back(box.score);
  }
  std::vector<int> kept;
  for (auto _ : state) {
    cv::dnn::NMSBoxes(rects, scores, 0.01F, 0.3F, kept);
    benchmark::DoNotOptimize(kept.data());
  }
}

BENCHMARK(postprocess)->Arg(0)->Arg(2)->Arg(500)->Unit(benchmark::kMicrosecond);
BENCHMARK(wholeFrame)->Arg(2)->Arg(500)->Unit(benchmark::kMicrosecond);
BENCHMARK(suppress)->Arg(20)->Arg(200)->Arg(2000)->Unit(benchmark::kMicrosecond);
BENCHMARK(suppressOpenCV)->Arg(20)->Arg(200)->Arg(2000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace geoloom
