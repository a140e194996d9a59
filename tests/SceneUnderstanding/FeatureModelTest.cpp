#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "geoloom/SceneUnderstanding/network/feature_model.h"

namespace geoloom {
namespace {

using Outputs = std::vector<platform::ModelManifest::Output>;

TEST(FeatureModel, AcceptsOnlyTheDetectorsOutputsInTheirOrder) {
  EXPECT_TRUE(checkDetectorOutputs({{"scores", {91, 1917}}, {"boxes", {4, 1917}}}));
  EXPECT_TRUE(checkDetectorOutputs({{"scores", {1, 91, 1917}}, {"boxes", {1, 4, 1917}}}));
  for (const Outputs& wrong :
       {Outputs{{"boxes", {4, 1917}}, {"scores", {91, 1917}}}, Outputs{{"scores", {91, 1917}}},
        Outputs{{"scores", {1917, 91}}, {"boxes", {4, 1917}}},
        Outputs{{"scores", {91, 1917}}, {"boxes", {4, 1916}}}}) {
    EXPECT_FALSE(checkDetectorOutputs(wrong));
  }
  EXPECT_THAT(checkDetectorOutputs({{"b", {4, 1917}}, {"s", {91, 1917}}}).failure().message,
              testing::HasSubstr("but lists \"b\" 4 x 1917, \"s\" 91 x 1917"));
}

}  // namespace
}  // namespace geoloom
