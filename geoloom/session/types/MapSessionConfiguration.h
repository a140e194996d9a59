#pragma once

#include <atomic>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/NSObject.h"

namespace geoloom {

/// The settings of one session; they have no defaults. The session keeps a reference. Both values may be
/// changed from any thread.
class GEOLOOM_EXPORT MapSessionConfiguration : public platform::NSObject {
 public:
  MapSessionConfiguration(float sceneUnderstandingConfidenceThreshold, float featureMatchDistanceMeters);

  /// Detected objects with at least this confidence, 0 to 1, are written to the service's table; the callback
  /// receives all objects. Read once, while the session is constructed.
  std::atomic<float> sceneUnderstandingConfidenceThreshold;
  /// Metres within which the service considers two objects the same. Read for every localization request.
  std::atomic<float> featureMatchDistanceMeters;
};

}  // namespace geoloom
