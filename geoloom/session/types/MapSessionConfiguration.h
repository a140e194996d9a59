#pragma once

#include <atomic>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/NSObject.h"

namespace geoloom {

/// What an application decides for one session. There are no defaults. The session keeps a reference; both
/// values may be changed from any thread.
class GEOLOOM_EXPORT MapSessionConfiguration : public platform::NSObject {
 public:
  MapSessionConfiguration(float sceneUnderstandingConfidenceThreshold, float featureMatchDistanceMeters);

  /// The confidence, 0 to 1, from which a detected object is written to the service's table; all objects are
  /// reported. Read once, while the session is constructed.
  std::atomic<float> sceneUnderstandingConfidenceThreshold;
  /// Metres within which the service takes two objects as the same. Read for every localization request.
  std::atomic<float> featureMatchDistanceMeters;
};

}  // namespace geoloom
