#include <array>
#include <cmath>

#include <gtest/gtest.h>

#include "geoloom/SceneUnderstanding/boxes/Ranking.h"
#include "geoloom/platform/vision/VNRequest.h"

namespace geoloom {
namespace {

using Indices = std::vector<std::int64_t>;
constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();

platform::CGRect rect(double x, double y, double width, double height) {
  return {{x, y}, {width, height}};
}

TEST(Ranking, IntersectionOverUnion) {
  EXPECT_EQ(IOU(rect(0, 0, 10, 10), rect(0, 0, 10, 10)), 1.0F);
  EXPECT_EQ(IOU(rect(0, 0, 2, 2), rect(1, 1, 2, 2)), 1.0F / 7.0F);
  EXPECT_EQ(IOU(rect(2, 2, -2, -2), rect(1, 1, 2, 2)), 1.0F / 7.0F) << "negative sizes are standardised";
  EXPECT_EQ(IOU(rect(0, 0, 1, 1), rect(1, 0, 1, 1)), 0.0F);
  EXPECT_EQ(IOU(rect(0, 0, 1, 1), rect(5, 5, 1, 1)), 0.0F) << "apart on both axes";
  EXPECT_EQ(IOU(rect(0, 0, 0, 5), rect(0, 0, 5, 5)), 0.0F);
}

TEST(Ranking, RoundsIntersectionOverUnionBeforeTheComparison) {
  // 0.7F is less than 0.7: compared in double precision, the second box would be dropped.
  const NMSPrediction a{0, 2, rect(0, 0, 10, 1)};
  const NMSPrediction b{0, 1, rect(0, 0, 7, 1)};
  EXPECT_EQ(IOU(a.rect, b.rect), 0.7F);
  EXPECT_EQ(nonMaxSuppression(std::vector{a, b}, 0.7F, 10), (Indices{0, 1}));
  EXPECT_EQ(nonMaxSuppression(std::vector{a, b}, std::nextafter(0.7F, 0.0F), 10), Indices{0});
}

TEST(Ranking, SuppressionByIndices) {
  const std::vector<NMSPrediction> boxes{
      {0, 0.5F, rect(0, 0, 10, 10)},  {0, 0.9F, rect(1, 0, 10, 10)},          {1, 0.7F, rect(50, 0, 10, 10)},
      {1, 0.8F, rect(51, 0, 10, 10)}, {2, NOT_A_NUMBER, rect(90, 0, 10, 10)},
  };
  EXPECT_EQ(nonMaxSuppression(boxes, 0.5F, 10), (Indices{1, 3, 4}));
  EXPECT_EQ(nonMaxSuppression(boxes, 0.5F, 1), Indices{1});
  EXPECT_EQ(nonMaxSuppression(boxes, 0.5F, 0), Indices{});
  EXPECT_EQ(nonMaxSuppression(boxes, Indices{2, 0}, 0.5F, 10), (Indices{2, 0}));
  EXPECT_EQ(nonMaxSuppression(std::vector<NMSPrediction>{}, 0.5F, 10), Indices{});

  EXPECT_EQ(nonMaxSuppressionMultiClass(3, boxes, 0.1F, 0.5F, 10, 10), (Indices{1, 3}))
      << "a NaN score is not collected";
  EXPECT_EQ(nonMaxSuppressionMultiClass(3, boxes, 0.8F, 0.5F, 10, 10), Indices{1}) << "0.8 is not above 0.8";
  EXPECT_EQ(nonMaxSuppressionMultiClass(1, boxes, 0.1F, 1.0F, 10, 10), (Indices{1, 0}));
  EXPECT_EQ(nonMaxSuppressionMultiClass(3, boxes, 0.1F, 1.0F, 1, 10), (Indices{1, 3}));
  EXPECT_EQ(nonMaxSuppressionMultiClass(3, boxes, 0.1F, 1.0F, 10, 3), (Indices{1, 3, 2}));
  EXPECT_EQ(nonMaxSuppressionMultiClass(3, boxes, 0.1F, 1.0F, 10, 0), Indices{});
}

TEST(Ranking, TopOfADictionary) {
  const std::unordered_map<std::string, double> probabilities{{"a", 0.1}, {"b", 0.7}, {"c", 0.2}};
  EXPECT_EQ(top(2, probabilities), (std::vector<RankedLabel>{{"b", 0.7}, {"c", 0.2}}));
  EXPECT_EQ(top(9, probabilities).size(), 3U);
  EXPECT_TRUE(top(0, probabilities).empty());
}

TEST(Ranking, TopOfObservationsKeepsTheirOrder) {
  using Observation = platform::VNClassificationObservation;
  const std::vector observations{std::make_shared<Observation>("cat", 0.25F),
                                 std::make_shared<Observation>("dog", 0.5F)};
  EXPECT_EQ(top(1, observations), (std::vector<RankedLabel>{{"cat", 0.25}}));
  EXPECT_EQ(top(3, observations), (std::vector<RankedLabel>{{"cat", 0.25}, {"dog", 0.5}}));
  EXPECT_TRUE(top(0, observations).empty());
}

TEST(Ranking, ArrayHelpers) {
  EXPECT_EQ(argmax({3, 7, 7}), (std::pair<std::int64_t, int>{1, 7}));
  EXPECT_EQ(argmax(std::array{1.5}), (std::pair<std::int64_t, double>{0, 1.5}));
  EXPECT_EQ(argsort(std::vector{30, 10, 20, 10}, std::less<>{}), (Indices{1, 3, 2, 0}));
  EXPECT_EQ(gather(std::vector<std::string>{"a", "b", "c"}, Indices{2, 0, 2}),
            (std::vector<std::string>{"c", "a", "c"}));
  EXPECT_TRUE(gather(std::vector<int>{}, Indices{}).empty());
}

TEST(Ranking, ArgsortToleratesAnInvalidPredicate) {
  std::vector<float> values(1000, 1.0F);
  for (std::size_t i = 0; i < values.size(); i += 3) values[i] = NOT_A_NUMBER;
  auto indices = argsort(values, [](float a, float b) { return a <= b; });
  std::sort(indices.begin(), indices.end());
  for (std::size_t i = 0; i < indices.size(); ++i) ASSERT_EQ(indices[i], static_cast<std::int64_t>(i));
}

TEST(RankingDeathTest, BrokenPreconditionsAreReported) {
  EXPECT_DEATH((void)argmax(std::vector<int>{}), "must not be empty");
  EXPECT_DEATH((void)gather(std::vector{1}, Indices{1}), "outside the array");
  EXPECT_DEATH((void)nonMaxSuppression(std::vector<NMSPrediction>{}, Indices{0}, 0.5F, 1),
               "outside the predictions");
  EXPECT_DEATH((void)nonMaxSuppressionMultiClass(1, std::vector<NMSPrediction>{}, 0, 0, 1, -1), "maxTotal");
  EXPECT_DEATH((void)nonMaxSuppressionMultiClass(-1, std::vector<NMSPrediction>{}, 0, 0, 1, 1), "numClasses");
  EXPECT_DEATH((void)top(-1, std::vector<std::shared_ptr<platform::VNClassificationObservation>>{}),
               "must not be negative");
}

}  // namespace
}  // namespace geoloom
