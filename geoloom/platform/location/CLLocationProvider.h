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

/// A source of the device's location. Each implementation is a file of its own,
/// CLLocationManager_<source>.cpp. Operations may be called from any thread.
class GEOLOOM_EXPORT CLLocationProvider {
 public:
  /// Callbacks of an observation; both run on the main queue and may be empty.
  struct Observer {
    /// One or more fixes, the latest last.
    std::function<void(std::vector<std::shared_ptr<const CLLocation>>)> locations;
    std::function<void(std::shared_ptr<const CLHeading>)> heading;
  };

  virtual ~CLLocationProvider();

  [[nodiscard]] virtual CLAuthorizationStatus authorizationStatus() const = 0;

  /// The last known fix, or nullptr. Used only while the status is an authorized one.
  [[nodiscard]] virtual std::shared_ptr<const CLLocation> location() const = 0;

  /// Observes from now on, until the returned token is destroyed.
  [[nodiscard]] virtual std::shared_ptr<void> observe(Observer observer) = 0;

  /// A device without a location.
  [[nodiscard]] static std::shared_ptr<CLLocationProvider> none();

  /// A device at rest: the location is known at once and reported once to every observer.
  [[nodiscard]] static std::shared_ptr<CLLocationProvider> fixed(std::shared_ptr<const CLLocation> location);

  /// A receiver served by gpsd. Reads from the daemon on a thread of its own until the provider is destroyed,
  /// which does not block. If the daemon does not answer or ends, it is tried again silently, after 1 second
  /// first and at last every 30 seconds.
  ///
  /// Accuracies are gpsd's estimates, mostly at 95%, or 100 m horizontally if gpsd has none. A fix without
  /// altitude has the altitude 0 and the vertical accuracy -1. There are no headings: the direction of travel
  /// is not the direction in which a device points. In a library built without gpsd it has no location, and
  /// one line in the system log says so.
  [[nodiscard]] static std::shared_ptr<CLLocationProvider> gpsd(std::string host = "localhost",
                                                                std::string port = "2947");
};

}  // namespace geoloom::platform
