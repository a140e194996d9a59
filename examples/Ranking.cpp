// For an application with its own model: suppresses overlapping boxes, ranks a classifier's labels and sorts
// an array. Exits with 1 if a result differs from the comments.

#include "geoloom/SceneUnderstanding/boxes/Ranking.h"

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

using geoloom::NMSPrediction;

namespace {

using Places = std::vector<std::int64_t>;

bool show(const char* what, const Places& places, const Places& expected) {
  std::printf("%s:", what);
  for (const std::int64_t place : places) std::printf(" %lld", static_cast<long long>(place));
  std::printf("\n");
  return places == expected;
}

}  // namespace

int main() {
  // Class, score, rectangle: one cup detected twice, another cup, and a plate under the first cup.
  const std::vector<NMSPrediction> boxes{
      {1, 0.6F, {{12, 10}, {40, 40}}},
      {1, 0.9F, {{10, 10}, {40, 40}}},
      {1, 0.7F, {{90, 10}, {40, 40}}},
      {2, 0.8F, {{10, 10}, {44, 44}}},
  };
  // Best first. The better box of the first cup suppresses the other one and the plate.
  bool good = show("kept of all", geoloom::nonMaxSuppression(boxes, 0.3F, 10), {1, 2});
  // With each class suppressed separately, the plate is kept.
  good = show("kept of each class", geoloom::nonMaxSuppressionMultiClass(3, boxes, 0.5F, 0.3F, 10, 100),
              {1, 3, 2}) &&
         good;

  const std::unordered_map<std::string, double> labels{{"cup", 0.7}, {"plate", 0.2}, {"spoon", 0.1}};
  for (const auto& [label, probability] : geoloom::top(2, labels)) {
    std::printf("%s %.1f\n", label.c_str(), probability);
  }

  const std::vector<float> scores{0.1F, 0.7F, 0.2F};
  const auto [place, score] = geoloom::argmax(scores);
  std::printf("best: %lld with %.1f\n", static_cast<long long>(place), static_cast<double>(score));
  const Places order = geoloom::argsort(scores, std::greater<>{});
  good = show("in order", order, {1, 2, 0}) && good;
  return good && geoloom::gather(scores, order).front() == score ? 0 : 1;
}
