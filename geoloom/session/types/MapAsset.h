#pragma once

#include <cstddef>
#include <string>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/scene/SCNVector3.h"

namespace geoloom {

/// A virtual object of the application in a map.
class GEOLOOM_EXPORT MapAsset : public platform::NSObject {
 public:
  /// Confidence of an asset that the application made.
  static constexpr float PLACED_CONFIDENCE = -1.0F;
  /// Confidence of an asset that was stored in a map and moved into this session's coordinates.
  static constexpr float RELOCALIZED_CONFIDENCE = 0.5F;

  MapAsset(std::string assetID, platform::SCNVector3 position, float orientation);

  /// The application's identifier.
  std::string assetID;
  /// Metres, in the coordinates of the AR session.
  platform::SCNVector3 position;
  /// Radians about the vertical axis, in the coordinates of the session that placed the asset. In an asset
  /// from a map this is the stored value: only the position is transformed. For the orientation in this
  /// session add the rotation of MapSession::lastTransform() (counterclockwise seen from above):
  ///
  ///     const float heading = asset->orientation + session->lastTransform()->rotation;
  float orientation;
  /// How the position was obtained: one of the constants.
  float confidence = PLACED_CONFIDENCE;

  /// True for an asset with the same identifier (composed and decomposed text is the same) and exactly the
  /// same position and orientation. The confidence is not compared.
  [[nodiscard]] bool isEqual(const platform::NSObject* other) const override;
  [[nodiscard]] std::size_t hash() const override;
};

}  // namespace geoloom
