#include <algorithm>
#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include "geoloom/SceneUnderstanding/boxes/Ranking.h"
#include "geoloom/SceneUnderstanding/boxes/SSDAnchors.h"
#include "geoloom/SceneUnderstanding/boxes/SSDPostProcessor.h"
#include "geoloom/platform/vision/MLMultiArray.h"

namespace geoloom {
namespace {

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

TEST(SSDAnchors, RowsOfEveryLayerAndShape) {
  const std::pair<std::size_t, SSDAnchors::Row> telling[] = {
      {0, {-0.023684F, -0.023684F, 0.076316F, 0.076316F}},
      {1, {-0.044395F, -0.115106F, 0.097026F, 0.167737F}},
      {2, {-0.115106F, -0.044395F, 0.167737F, 0.097026F}},
      {3, {-0.023684F, 0.028947F, 0.076316F, 0.128947F}},
      {57, {0.028947F, -0.023684F, 0.128947F, 0.076316F}},
      {1082, {0.832263F, 0.902974F, 1.115106F, 1.044395F}},
      {1083, {-0.125F, -0.125F, 0.225F, 0.225F}},
      {1084, {-0.159165F, -0.159165F, 0.259165F, 0.259165F}},
      {1085, {-0.073744F, -0.197487F, 0.173744F, 0.297487F}},
      {1088, {-0.253124F, -0.051031F, 0.353124F, 0.151031F}},
      {1911, {0.025F, 0.025F, 0.975F, 0.975F}},
      {1912, {0.012660F, 0.012660F, 0.987340F, 0.987340F}},
      {1915, {0.225759F, -0.322724F, 0.774241F, 1.322724F}},
      {1916, {-0.322765F, 0.225772F, 1.322765F, 0.774228F}},
  };
  for (const auto& [row, values] : telling)
    for (std::size_t k = 0; k < 4; ++k)
      EXPECT_NEAR(SSDAnchors::anchors()[row][k], values[k], 6e-7) << "row " << row << ", value " << k;
}

Prediction predictionOf(const BoundingBox2& anchor, const AnchorEncoding& encoding, double score = 1) {
  return {.index = 0, .score = score, .anchor = anchor, .anchorEncoding = encoding, .detectedClass = 1};
}

TEST(Prediction, DecodesShiftsAndScales) {
  const BoundingBox2 anchor{0.25, 0.5, 0.5, 1.0, 300, 300};
  EXPECT_EQ(predictionOf(anchor, {}).decodeBoundingBox(), anchor);

  const auto taller = predictionOf(anchor, {0, 0, 5 * std::log(2.0), 0}).decodeBoundingBox();
  EXPECT_NEAR(taller.yMin, 0.125, 1e-12);
  EXPECT_NEAR(taller.yMax, 0.625, 1e-12);
  EXPECT_EQ(taller.xMin, 0.5);

  const auto lower = predictionOf(anchor, {10, 0, 0, 0}).decodeBoundingBox();
  EXPECT_EQ(lower.yMin, 0.5);
  EXPECT_EQ(lower.yMax, 0.75);

  const auto widerAndRight = predictionOf(anchor, {0, 5, 0, 5 * std::log(3.0)}).decodeBoundingBox();
  EXPECT_NEAR(widerAndRight.xMin, 0.25, 1e-12);
  EXPECT_NEAR(widerAndRight.xMax, 1.75, 1e-12);
}

TEST(SSDPostProcessor, ClassNames) {
  const SSDPostProcessor processor(1917, 90, 0.01);
  EXPECT_EQ(processor.classNamesRaw().size(), 664U);
  ASSERT_TRUE(processor.classNames());
  const auto& names = *processor.classNames();
  ASSERT_EQ(names.size(), 91U);
  EXPECT_EQ(names[1], "person");
  EXPECT_EQ(names[90], "toothbrush");
  std::vector<std::size_t> nameless;
  for (std::size_t i = 0; i < names.size(); ++i)
    if (names[i] == "???") nameless.push_back(i);
  EXPECT_EQ(nameless, (std::vector<std::size_t>{0, 12, 26, 29, 30, 45, 66, 68, 69, 71, 83}));
}

/// The rule as it is stated: a double comparison for every class and anchor.
std::vector<std::vector<Prediction>> plainPostprocess(const SSDPostProcessor& processor,
                                                      const std::vector<float>& boxes,
                                                      const std::vector<float>& scores) {
  const auto n = static_cast<std::size_t>(processor.numAnchors());
  std::vector<std::vector<Prediction>> lists(static_cast<std::size_t>(processor.numClasses()) + 1);
  for (std::size_t c = 1; c < lists.size(); ++c) {
    for (std::size_t a = 0; a < n; ++a) {
      const double score = scores[c * n + a];
      if (!(processor.threshold() < score)) continue;
      const auto& row = SSDAnchors::anchors()[a];
      lists[c].push_back({static_cast<std::int64_t>(a),
                          score,
                          {row[0], row[1], row[2], row[3], 300, 300},
                          {boxes[a], boxes[n + a], boxes[2 * n + a], boxes[3 * n + a]},
                          static_cast<std::int64_t>(c)});
    }
  }
  return lists;
}

TEST(SSDPostProcessor, ThresholdActsOnTheRawScoreInDoublePrecision) {
  using Limits = std::numeric_limits<float>;
  constexpr float inf = Limits::infinity();
  constexpr float most = Limits::max();
  constexpr double wide = most;
  const float below = std::nextafter(0.01F, 0.0F);
  const float above = std::nextafter(0.01F, 1.0F);
  const float special[] = {0.0F,   -0.0F,   0.005F, 0.01F, below, above, 0.0100001F,
                           1e-45F, -1e-45F, most,   -most, inf,   -inf,  Limits::quiet_NaN()};
  const double thresholds[] = {0.01,  double{0.01F}, 0.0,  -0.0,  1e-50, -1e-50, 0.3,         3.5e38,
                               1e300, -1e300,        wide, -wide, INF,   -INF,   NOT_A_NUMBER};
  for (const double threshold : thresholds) {
    const SSDPostProcessor processor(1, static_cast<std::int64_t>(std::size(special)), threshold);
    std::vector<float> scores{100};
    scores.insert(scores.end(), std::begin(special), std::end(special));
    const std::vector<float> boxes{1, 2, 3, 4};
    EXPECT_EQ(processor.postprocess(boxes, scores), plainPostprocess(processor, boxes, scores)) << threshold;
  }
}

TEST(SSDPostProcessor, FindsWhatTheStatedRuleFinds) {
  std::mt19937 random(17);
  std::normal_distribution<float> logit(-2, 1.2F);
  for (const std::int64_t anchors : {0, 1, 63, 64, 65, 200, 1917}) {
    const SSDPostProcessor processor(anchors, 7, 0.01);
    std::vector<float> scores(static_cast<std::size_t>(8 * anchors));
    std::vector<float> boxes(static_cast<std::size_t>(4 * anchors));
    std::generate(scores.begin(), scores.end(), [&] { return logit(random); });
    std::generate(boxes.begin(), boxes.end(), [&] { return logit(random); });
    const auto candidates = processor.postprocess(boxes, scores);
    EXPECT_EQ(candidates, plainPostprocess(processor, boxes, scores)) << anchors;
    EXPECT_TRUE(candidates[0].empty());
  }
}

TEST(SSDPostProcessor, ReadsTheModelsArraysOfEveryTypeAndLayout) {
  using platform::MLMultiArray;
  using platform::MLMultiArrayDataType;
  const SSDPostProcessor processor(2, 1, 0.01);
  std::vector<float> scores{9, 9, 0, 5};
  std::vector<float> boxes{1, 2, 3, 4, 5, 6, 7, 8};
  const auto wrap = [](std::vector<float>& elements, std::vector<std::ptrdiff_t> shape,
                       std::vector<std::ptrdiff_t> strides) {
    return MLMultiArray::createWithDataPointer(elements.data(), std::move(shape),
                                               MLMultiArrayDataType::float32, std::move(strides), {});
  };
  const auto candidates =
      processor.postprocess(*wrap(boxes, {1, 4, 2}, {8, 2, 1}), *wrap(scores, {2, 2}, {2, 1}));
  ASSERT_EQ(candidates[1].size(), 1U);
  EXPECT_EQ(candidates[1][0].anchorEncoding, (AnchorEncoding{2, 4, 6, 8}));

  std::vector<float> transposed{9, 0, 9, 5};  // the same elements, column by column
  EXPECT_FALSE(SSDPostProcessor::floatElements(*wrap(transposed, {2, 2}, {1, 2})));
  EXPECT_EQ(processor.postprocess(*wrap(boxes, {4, 2}, {2, 1}), *wrap(transposed, {2, 2}, {1, 2})),
            candidates);

  // 0.01 and the double above it, of which single precision would make one.
  const auto doubles = MLMultiArray::create({2, 2}, MLMultiArrayDataType::float64);
  const double values[] = {9, 9, 0.01, std::nextafter(0.01, 1)};
  std::copy_n(values, 4, static_cast<double*>(doubles->dataPointer()));
  const auto exact = processor.postprocess(*wrap(boxes, {4, 2}, {2, 1}), *doubles);
  ASSERT_EQ(exact[1].size(), 1U);
  EXPECT_EQ(exact[1][0].index, 1);
  EXPECT_EQ(exact[1][0].score, values[3]);

  const auto integers = MLMultiArray::create({2, 2}, MLMultiArrayDataType::int32);
  const std::int32_t whole[] = {9, 9, 0, 5};
  std::copy_n(whole, 4, static_cast<std::int32_t*>(integers->dataPointer()));
  EXPECT_EQ(processor.postprocess(*wrap(boxes, {4, 2}, {2, 1}), *integers), candidates);
}

/// A prediction whose box is the given one, in pixels of the 300 x 300 input.
Prediction boxAt(double x, double y, double width, double height, double score,
                 std::int64_t detectedClass = 1) {
  return {.index = 0,
          .score = score,
          .anchor = {y / 300, x / 300, (y + height) / 300, (x + width) / 300, 300, 300},
          .anchorEncoding = {},
          .detectedClass = detectedClass};
}

/// The walk as it is stated, decoding both boxes for every comparison.
std::vector<Prediction> plainSuppression(std::vector<Prediction> predictions, std::int64_t maxBoxes,
                                         float threshold) {
  const auto rect = [](const Prediction& p) {
    const auto box = p.decodeBoundingBox();
    return platform::CGRect{{box.xMin * 300, box.yMin * 300},
                            {(box.xMax - box.xMin) * 300, (box.yMax - box.yMin) * 300}};
  };
  std::stable_sort(predictions.begin(), predictions.end(),
                   [](const auto& a, const auto& b) { return a.score > b.score; });
  std::vector<Prediction> kept;
  for (const auto& candidate : predictions) {
    if (static_cast<std::int64_t>(kept.size()) >= maxBoxes) break;
    bool keep = true;
    for (const auto& better : kept) keep = keep && !(IOU(rect(candidate), rect(better)) > threshold);
    if (keep) kept.push_back(candidate);
  }
  return kept;
}

TEST(Suppression, KeepsWhatTheStatedWalkKeeps) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> position(0, 250);
  std::uniform_real_distribution<double> extent(-5, 120);
  std::uniform_int_distribution<int> score(0, 40);
  for (int round = 0; round < 60; ++round) {
    std::vector<Prediction> predictions;
    for (int i = 0; i < 80; ++i) {
      predictions.push_back(
          boxAt(position(random), position(random), extent(random), extent(random), score(random)));
    }
    EXPECT_EQ(SSDPostProcessor::suppressOverlaps(predictions, 10, 0.3F),
              plainSuppression(predictions, 10, 0.3F));
  }
}

TEST(Suppression, EdgesOfTheRule) {
  const auto kept = [](std::vector<Prediction> predictions, std::int64_t maxBoxes = 10) {
    std::vector<double> scores;
    for (const auto& p : SSDPostProcessor::suppressOverlaps(predictions, maxBoxes, 0.3F))
      scores.push_back(p.score);
    return scores;
  };
  using Scores = std::vector<double>;
  EXPECT_EQ(kept({boxAt(0, 0, 0, 0, 1)}), Scores{1}) << "a single prediction stays, whatever its box";
  EXPECT_EQ(kept({boxAt(9, 9, 50, 50, 1), boxAt(9, 9, 50, 50, 2)}), Scores{2});
  EXPECT_EQ(kept({boxAt(0, 0, 0, 50, 2), boxAt(0, 0, 0, 50, 1), boxAt(0, 0, 50, 50, 3)}), (Scores{3, 2, 1}))
      << "a box without area neither suppresses nor is suppressed";
  EXPECT_EQ(kept({boxAt(0, 0, 13, 10, 2), boxAt(7, 0, 13, 10, 1)}), (Scores{2, 1}))
      << "60 / 200 is not above 0.3";
  EXPECT_EQ(kept({boxAt(0, 0, 13, 10, 2), boxAt(6.99, 0, 13, 10, 1)}), Scores{2});
  EXPECT_EQ(kept({boxAt(0, 0, 9, 9, 1)}, 0), Scores{});
  EXPECT_EQ(kept({boxAt(0, 0, 9, 9, 1)}, -3), Scores{});

  std::vector<Prediction> apart;
  for (int i = 0; i < 11; ++i) apart.push_back(boxAt(20 * i, 0, 10, 10, i));
  EXPECT_EQ(kept(apart), (Scores{10, 9, 8, 7, 6, 5, 4, 3, 2, 1}));
}

TEST(Suppression, UnorderedScoresStayWithinBounds) {
  std::vector<Prediction> predictions;
  for (int i = 0; i < 500; ++i)
    predictions.push_back(boxAt(i * 20, 0, 10, 10, i % 3 == 0 ? NOT_A_NUMBER : i % 7));
  const auto kept = SSDPostProcessor::suppressOverlaps(predictions, 500, 0.3F);
  ASSERT_EQ(kept.size(), 500U);
  EXPECT_EQ(kept.front().score, 6);
  EXPECT_TRUE(std::isnan(kept.back().score));
}

TEST(Suppression, ClassesDoNotCompeteAndAreRankedTogether) {
  const SSDPostProcessor processor(1917, 2, 0.01);
  const std::vector<std::vector<Prediction>> byClass{
      {boxAt(0, 0, 50, 50, 9, 0)},
      {boxAt(0, 0, 50, 50, 1, 1), boxAt(0, 0, 50, 51, 3, 1)},
      {boxAt(0, 0, 50, 50, 2, 2), boxAt(100, 0, 50, 50, 4, 2)},
  };
  std::vector<double> scores;
  for (const auto& p : processor.nonMaximumSuppression(byClass)) scores.push_back(p.score);
  EXPECT_EQ(scores, (std::vector<double>{4, 3, 2}));

  const SSDPostProcessor ofMore(1917, 90, 0.01);
  EXPECT_EQ(ofMore.nonMaximumSuppression(byClass), processor.nonMaximumSuppression(byClass))
      << "classes without an entry have no predictions";
}

}  // namespace
}  // namespace geoloom
