#include <cmath>
#include <type_traits>

#include <gtest/gtest.h>

#include "geoloom/session/types/DetectedObjectFactory.h"
#include "geoloom/session/types/Map.h"
#include "geoloom/session/types/MapAsset.h"
#include "geoloom/session/types/MapMode.h"
#include "geoloom/session/types/MapStatus.h"

namespace geoloom {
namespace {

TEST(MapModeAndMapStatus, AreMadeFromTheirRawValuesOnly) {
  for (long raw = -2; raw <= 12; ++raw) {
    const auto mode = mapModeFromRawValue(raw);
    const auto status = mapStatusFromRawValue(raw);
    ASSERT_EQ(mode.has_value(), raw == 0 || raw == 1) << raw;
    ASSERT_EQ(status.has_value(), raw >= 0 && raw <= 9) << raw;
    if (mode) {
      EXPECT_EQ(rawValue(*mode), raw);
    }
    if (status) {
      EXPECT_EQ(rawValue(*status), raw);
    }
  }
  EXPECT_EQ(rawValue(MapStatus::serviceError), 4);
  EXPECT_EQ(rawValue(MapMode::localization), 1);
}

TEST(MapAsset, EqualsByIdentifierPositionAndOrientation) {
  const MapAsset asset("a", {1, 2, 3}, 0.5F);
  EXPECT_EQ(asset.confidence, -1.0F);

  MapAsset same("a", {1, 2, 3}, 0.5F);
  same.confidence = 0.5F;
  EXPECT_TRUE(asset.isEqual(&same));
  EXPECT_EQ(asset.hash(), same.hash());

  const float nextZ = std::nextafter(3.0F, 4.0F);
  const MapAsset others[] = {{"b", {1, 2, 3}, 0.5F}, {"a", {1, 2, nextZ}, 0.5F}, {"a", {1, 2, 3}, 0.25F}};
  for (const MapAsset& other : others) EXPECT_FALSE(asset.isEqual(&other));

  const Map map("u", "a", 1, 2, 3, 4, 5);
  EXPECT_FALSE(asset.isEqual(&map));
  EXPECT_FALSE(asset.isEqual(nullptr));
}

TEST(MapAsset, HashAgreesWithEquality) {
  const MapAsset composed("caf\u00e9", {0.0F, 1, 2}, 0.0F);
  const MapAsset decomposed("cafe\u0301", {-0.0F, 1, 2}, -0.0F);
  EXPECT_TRUE(composed.isEqual(&decomposed));
  EXPECT_EQ(composed.hash(), decomposed.hash());

  const float nan = std::numeric_limits<float>::quiet_NaN();
  const MapAsset unlike("a", {nan, 0, 0}, 0);
  EXPECT_FALSE(unlike.isEqual(&unlike));
}

TEST(DetectedObject, IsMadeByTheKitAndPrintsItself) {
  static_assert(!std::is_default_constructible_v<DetectedObject>);
  static_assert(!std::is_constructible_v<DetectedObject, std::string, float, platform::SCNVector3, float>);

  EXPECT_EQ(DetectedObjectFactory::make("chair", 0.8125F, {1, 2, 3}, 0.9F)->print(), "chair, 0.8125, 0.9");
  EXPECT_EQ(DetectedObjectFactory::make("person", 0.5F, {}, 1.75F)->print(), "person, 0.5, 1.75");
  EXPECT_EQ(DetectedObjectFactory::make("cup", 1, {}, 0)->print(), "cup, 1.0, 0.0");
}

}  // namespace
}  // namespace geoloom
