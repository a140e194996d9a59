#pragma once

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/NSObject.h"

namespace geoloom::platform {

/// WGS 84, degrees.
struct CLLocationCoordinate2D {
  double latitude = 0;
  double longitude = 0;
  friend bool operator==(const CLLocationCoordinate2D&, const CLLocationCoordinate2D&) = default;
};

/// A position of the device at a time. Immutable, shared.
class GEOLOOM_EXPORT CLLocation final : public NSObject {
 public:
  CLLocation(CLLocationCoordinate2D coordinate, double altitude, double horizontalAccuracy,
             double verticalAccuracy, Date timestamp);

  const CLLocationCoordinate2D coordinate;
  /// Metres above sea level.
  const double altitude;
  /// Metres; negative if the coordinate is invalid.
  const double horizontalAccuracy;
  /// Metres; negative if the altitude is invalid.
  const double verticalAccuracy;
  const Date timestamp;
};

/// One reading of the compass, degrees clockwise from north. Immutable, shared.
class GEOLOOM_EXPORT CLHeading final : public NSObject {
 public:
  CLHeading(double magneticHeading, double trueHeading, double headingAccuracy);

  const double magneticHeading;
  /// Valid only if the accuracy is not negative.
  const double trueHeading;
  /// Largest error in degrees; negative if the reading is invalid.
  const double headingAccuracy;
};

}  // namespace geoloom::platform
