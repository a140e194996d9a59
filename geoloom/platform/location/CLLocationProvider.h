#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/platform/location/CLLocation.h"

namespace geoloom::platform {

enum class CLAuthorizationStatus {
  notDetermined = 0,
  restricted = 1,
  denied = 2,
  authorizedAlways = 3,
  authorizedWhenInUse = 4
};

/// Where this machine's location comes from. Each body is a file of its own, CLLocationManager_<what it
/// stands on>.cpp. Operations may be called from any thread.
class GEOLOOM_EXPORT CLLocationProvider {
 public:
  /// Receives what a provider observes; both run on the main queue.
  struct Observer {
    /// One or more fixes, the latest last.
    std::function<void(std::vector<std::shared_ptr<const CLLocation>>)> locations;
    std::function<void(std::shared_ptr<const CLHeading>)> heading;
  };

  virtual ~CLLocationProvider();

  [[nodiscard]] virtual CLAuthorizationStatus authorizationStatus() const = 0;

  /// The last known fix, or nullptr.
  [[nodiscard]] virtual std::shared_ptr<const CLLocation> location() const = 0;

  /// Observes from now on, until the returned token is destroyed.
  [[nodiscard]] virtual std::shared_ptr<void> observe(Observer observer) = 0;

  /// A device that does not know where it is.
  [[nodiscard]] static std::shared_ptr<CLLocationProvider> none();

  /// A device that stands still: the location is known at once and reported once to every observer.
  [[nodiscard]] static std::shared_ptr<CLLocationProvider> fixed(std::shared_ptr<const CLLocation> location);

  /// A device with a receiver that gpsd serves. Follows the daemon on a thread of its own from now until the
  /// provider is destroyed, which waits for nothing. Where no daemon answers, or it ends, it says nothing and
  /// tries again, after a second at first and every half minute at last.
  ///
  /// Errors are those that gpsd estimates, mostly at 95%; 100 m horizontally where a receiver tells too
  /// little for that. A fix without altitude has the altitude 0 and the vertical accuracy -1. There are no
  /// headings: where a device travels is not where it points. Knows no location, after a line in the system
  /// log, in a library built without gpsd.
  [[nodiscard]] static std::shared_ptr<CLLocationProvider> gpsd(std::string host = "localhost",
                                                                std::string port = "2947");
};

}  // namespace geoloom::platform
