#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/location/CLLocationProvider.h"

namespace geoloom::platform {

std::shared_ptr<CLLocationProvider> CLLocationProvider::gpsd(std::string /*host*/, std::string /*port*/) {
  SystemLog::log("location: this library was built without gpsd (GEOLOOM_GPSD)");
  return none();
}

}  // namespace geoloom::platform
