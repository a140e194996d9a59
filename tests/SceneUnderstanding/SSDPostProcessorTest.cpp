#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "geoloom/SceneUnderstanding/boxes/Ranking.h"
#include "geoloom/SceneUnderstanding/boxes/SSDAnchors.h"
#include "geoloom/SceneUnderstanding/boxes/SSDPostProcessor.h"
#include "geoloom/platform/vision/MLMultiArray.h"

namespace geoloom {
namespace {

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

TEST(SSDAnchors, HasTheRowsOfEveryLayerAndShape) {
  const std::pair<std::size_t, SSDAnchors::Row> expected[] = {
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
  for (const auto& [row, values] : expected)
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

using platform::MLMultiArray;
using platform::MLMultiArrayDataType;

template <class Element>
std::shared_ptr<MLMultiArray> wrap(std::vector<Element>& elements, std::vector<std::ptrdiff_t> shape,
                                   std::vector<std::ptrdiff_t> strides) {
  const auto type = std::is_same_v<Element, double>  ? MLMultiArrayDataType::float64
                    : std::is_same_v<Element, float> ? MLMultiArrayDataType::float32
                                                     : MLMultiArrayDataType::int32;
  return MLMultiArray::createWithDataPointer(elements.data(), std::move(shape), type, std::move(strides), {});
}

TEST(SSDPostProcessor, ScoresMustExceedTheThreshold) {
  const SSDPostProcessor processor(3, 2, 0.01);
  const float below = 0.0099999F;
  const float above = 0.0100001F;
  std::vector<float> scores{9, 9, 9, below, above, 3, std::numeric_limits<float>::quiet_NaN(), -5, 7};
  std::vector<float> boxes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  const auto candidates = processor.postprocess(*wrap(boxes, {4, 3}, {3, 1}), *wrap(scores, {3, 3}, {3, 1}));
  const auto expected = [](std::int64_t index, double score, std::int64_t detectedClass) {
    const auto& row = SSDAnchors::anchors()[static_cast<std::size_t>(index)];
    const auto first = static_cast<double>(index + 1);
    return Prediction{index,
                      score,
                      {row[0], row[1], row[2], row[3], 300, 300},
                      {first, first + 3, first + 6, first + 9},
                      detectedClass};
  };
  EXPECT_EQ(candidates, (std::vector<std::vector<Prediction>>{
                            {}, {expected(1, double{above}, 1), expected(2, 3, 1)}, {expected(2, 7, 2)}}));
}

TEST(SSDPostProcessor, ReadsEveryElementTypeAndLayout) {
  const SSDPostProcessor processor(2, 1, 0.01);
  std::vector<float> boxes{1, 2, 3, 4, 5, 6, 7, 8};
  const auto boxArray = wrap(boxes, {4, 2}, {2, 1});
  std::vector<float> scores{9, 9, 0, 5};
  const auto candidates = processor.postprocess(*boxArray, *wrap(scores, {2, 2}, {2, 1}));
  ASSERT_EQ(candidates[1].size(), 1U);
  EXPECT_EQ(candidates[1][0].anchorEncoding, (AnchorEncoding{2, 4, 6, 8}));

  std::vector<float> transposed{9, 0, 9, 5};
  const auto transposedArray = wrap(transposed, {2, 2}, {1, 2});
  EXPECT_FALSE(SSDPostProcessor::floatElements(*transposedArray));
  EXPECT_EQ(processor.postprocess(*boxArray, *transposedArray), candidates);
  EXPECT_EQ(processor.postprocess(*wrap(boxes, {1, 4, 2}, {8, 2, 1}), *transposedArray), candidates);
  std::vector<std::int32_t> integers{9, 9, 0, 5};
  EXPECT_EQ(processor.postprocess(*boxArray, *wrap(integers, {2, 2}, {2, 1})), candidates);

  // 0.01 and the next double, which single precision cannot distinguish.
  std::vector<double> doubles{9, 9, 0.01, std::nextafter(0.01, 1)};
  const auto exact = processor.postprocess(*boxArray, *wrap(doubles, {2, 2}, {2, 1}));
  ASSERT_EQ(exact[1].size(), 1U);
  EXPECT_EQ(exact[1][0].index, 1);
  EXPECT_EQ(exact[1][0].score, doubles[3]);
}

/// A prediction with the given box in pixels of the 300 x 300 input.
Prediction boxAt(double x, double y, double width, double height, double score,
                 std::int64_t detectedClass = 1) {
  return {.index = 0,
          .score = score,
          .anchor = {y / 300, x / 300, (y + height) / 300, (x + width) / 300, 300, 300},
          .anchorEncoding = {},
          .detectedClass = detectedClass};
}

TEST(Suppression, DropsBoxesThatOverlapABetterOne) {
  const auto kept = [](std::vector<Prediction> predictions, std::int64_t maxBoxes = 10) {
    std::vector<double> scores;
    for (const auto& p : SSDPostProcessor::suppressOverlaps(predictions, maxBoxes, 0.3F))
      scores.push_back(p.score);
    return scores;
  };
  using Scores = std::vector<double>;
  EXPECT_EQ(kept({boxAt(0, 0, 0, 0, 1)}), Scores{1}) << "a single prediction is kept with any box";
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

TEST(Suppression, OrdersNaNScoresLast) {
  std::vector<Prediction> predictions;
  for (int i = 0; i < 500; ++i)
    predictions.push_back(boxAt(i * 20, 0, 10, 10, i % 3 == 0 ? NOT_A_NUMBER : i % 7));
  const auto kept = SSDPostProcessor::suppressOverlaps(predictions, 500, 0.3F);
  ASSERT_EQ(kept.size(), 500U);
  EXPECT_EQ(kept.front().score, 6);
  EXPECT_TRUE(std::isnan(kept.back().score));
}

TEST(Suppression, SuppressesPerClassAndRanksAllClasses) {
  const SSDPostProcessor processor(1917, 2, 0.01);
  const std::vector<std::vector<Prediction>> byClass{
      {boxAt(0, 0, 50, 50, 9, 0)},
      {boxAt(0, 0, 50, 50, 1, 1), boxAt(0, 0, 50, 51, 3, 1)},
      {boxAt(0, 0, 50, 50, 2, 2), boxAt(100, 0, 50, 50, 4, 2)},
  };
  std::vector<double> scores;
  for (const auto& p : processor.nonMaximumSuppression(byClass)) scores.push_back(p.score);
  EXPECT_EQ(scores, (std::vector<double>{4, 3, 2}));

  std::vector<Prediction> apart;
  for (int i = 0; i < 11; ++i) apart.push_back(boxAt(20 * i, 0, 10, 10, i));
  EXPECT_EQ(processor.nonMaximumSuppression({{{}, apart}}).size(), 10U);
  EXPECT_EQ(processor.nonMaximumSuppression({{{}, {boxAt(0, 0, 13, 10, 2), boxAt(6, 0, 13, 10, 1)}}}).size(),
            1U);

  const SSDPostProcessor ofMore(1917, 90, 0.01);
  EXPECT_EQ(ofMore.nonMaximumSuppression(byClass), processor.nonMaximumSuppression(byClass))
      << "missing classes have no predictions";
}

}  // namespace
}  // namespace geoloom
