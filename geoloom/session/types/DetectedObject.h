#pragma once

#include <string>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/scene/SCNVector3.h"

namespace geoloom {

/// A real object that the detector found in a camera frame and located in the world. Only the kit creates
/// these. Immutable.
class GEOLOOM_EXPORT DetectedObject : public platform::NSObject {
 public:
  /// Class name, such as "chair".
  const std::string name;
  /// Score, 0 to 1.
  const float confidence;
  /// Centre of the object's bounds: metres, in the coordinates of the AR session.
  const platform::SCNVector3 center;
  /// Height of the bounds in metres.
  const float height;

  /// "<name>, <confidence>, <height>", each number with the fewest digits that identify it: "chair, 0.8125,
  /// 0.9".
  [[nodiscard]] std::string print() const;

 private:
  friend struct DetectedObjectFactory;
  DetectedObject(std::string name, float confidence, platform::SCNVector3 center, float height);
};

}  // namespace geoloom
