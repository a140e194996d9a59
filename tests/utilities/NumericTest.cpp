#include <cmath>

#include <gtest/gtest.h>

#include "geoloom/platform/scene/SCNVector3.h"
#include "geoloom/utilities/Clamp.h"

namespace geoloom {
namespace {

TEST(ClampTest, TestsTheLowerBoundFirst) {
  EXPECT_EQ(clamp(300, 0, 255), 255);
  EXPECT_EQ(clamp(-5, 0, 255), 0);
  EXPECT_EQ(clamp(7.9, 0, 255), 7.9);
  EXPECT_EQ(clamp(5, 10, 0), 10);
  EXPECT_EQ(clamp(20, 10, 0), 0);
  EXPECT_EQ(clamp<std::string>("m", "a", "f"), "f");
}

TEST(ClampTest, ReturnsNaNUnchanged) {
  EXPECT_TRUE(std::isnan(clamp(std::nan(""), 0.0, 255.0)));
}

TEST(SCNVector3Test, DistanceUsesSinglePrecision) {
  using platform::SCNVector3;
  EXPECT_EQ((SCNVector3{1, 2, 3}.distance({4, 6, 3})), 5.0F);
  EXPECT_EQ((SCNVector3{1, 2, 3}.distance({1, 2, 3})), 0.0F);
  EXPECT_EQ((SCNVector3{0, 0, 0}.distance({-2, 3, 6})), 7.0F);
  // 2e19 squared exceeds a 32-bit float, though the distance itself does not.
  EXPECT_EQ((SCNVector3{0, 2e19F, 0}.distance({0, 0, 0})), std::numeric_limits<float>::infinity());
}

}  // namespace
}  // namespace geoloom
