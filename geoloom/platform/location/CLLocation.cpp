#include "geoloom/platform/location/CLLocation.h"

namespace geoloom::platform {

CLLocation::CLLocation(CLLocationCoordinate2D at, double metresAboveSea, double acrossMeters, double upMeters,
                       Date when)
    : coordinate(at),
      altitude(metresAboveSea),
      horizontalAccuracy(acrossMeters),
      verticalAccuracy(upMeters),
      timestamp(when) {}

CLHeading::CLHeading(double fromMagneticNorth, double fromTrueNorth, double accuracy)
    : magneticHeading(fromMagneticNorth), trueHeading(fromTrueNorth), headingAccuracy(accuracy) {}

}  // namespace geoloom::platform
