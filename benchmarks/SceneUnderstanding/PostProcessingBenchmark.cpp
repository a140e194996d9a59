// From the network's outputs to ranked boxes: the kit beside loops written down as the rule is stated, and
// its suppression beside OpenCV's. The argument is how many of 10,000 scores lie above the threshold.
#include <algorithm>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>
#include <opencv2/dnn.hpp>

#include "geoloom/SceneUnderstanding/boxes/Ranking.h"
#include "geoloom/SceneUnderstanding/boxes/SSDAnchors.h"
#include "geoloom/SceneUnderstanding/boxes/SSDPostProcessor.h"

namespace geoloom {
namespace {

constexpr std::size_t ANCHORS = SSDAnchors::count;
constexpr std::size_t CLASSES = 90;

struct Outputs {
  std::vector<float> scores;
  std::vector<float> boxes;
};

Outputs outputsOf(std::int64_t passing) {
  std::mt19937 random(42);
  std::uniform_int_distribution<std::int64_t> lot(0, 9999);
  std::uniform_real_distribution<float> low(-9, -1);
  std::uniform_real_distribution<float> high(0.1F, 5);
  std::normal_distribution<float> encoding(0, 1);
  Outputs outputs{std::vector<float>((CLASSES + 1) * ANCHORS), std::vector<float>(4 * ANCHORS)};
  for (float& score : outputs.scores) score = lot(random) < passing ? high(random) : low(random);
  for (float& value : outputs.boxes) value = encoding(random);
  return outputs;
}

SSDPostProcessor processor() {
  return {static_cast<std::int64_t>(ANCHORS), CLASSES, 0.01};
}

void postprocess(benchmark::State& state) {
  const auto kit = processor();
  const auto outputs = outputsOf(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(kit.postprocess(outputs.boxes, outputs.scores));
}

void postprocessPlainLoops(benchmark::State& state) {
  const auto kit = processor();
  const auto outputs = outputsOf(state.range(0));
  for (auto _ : state) {
    std::vector<std::vector<Prediction>> lists(CLASSES + 1);
    for (std::size_t c = 1; c <= CLASSES; ++c) {
      for (std::size_t a = 0; a < ANCHORS; ++a) {
        const double score = outputs.scores[c * ANCHORS + a];
        if (!(kit.threshold() < score)) continue;
        const auto& row = SSDAnchors::anchors()[a];
        lists[c].push_back({static_cast<std::int64_t>(a),
                            score,
                            {row[0], row[1], row[2], row[3], 300, 300},
                            {outputs.boxes[a], outputs.boxes[ANCHORS + a], outputs.boxes[2 * ANCHORS + a],
                             outputs.boxes[3 * ANCHORS + a]},
                            static_cast<std::int64_t>(c)});
      }
    }
    benchmark::DoNotOptimize(lists);
  }
}

void wholeFrame(benchmark::State& state) {
  const auto kit = processor();
  const auto outputs = outputsOf(state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(kit.nonMaximumSuppression(kit.postprocess(outputs.boxes, outputs.scores)));
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
BENCHMARK(postprocessPlainLoops)->Arg(0)->Arg(2)->Arg(500)->Unit(benchmark::kMicrosecond);
BENCHMARK(wholeFrame)->Arg(2)->Arg(500)->Unit(benchmark::kMicrosecond);
BENCHMARK(suppress)->Arg(20)->Arg(200)->Arg(2000)->Unit(benchmark::kMicrosecond);
BENCHMARK(suppressOpenCV)->Arg(20)->Arg(200)->Arg(2000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace geoloom
