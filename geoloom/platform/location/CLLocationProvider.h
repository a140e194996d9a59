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

/// A source of the device's location; an application may implement its own. Operations may be called from any
/// thread.
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

  /// The last known fix, or nullptr. Used only while the provider is authorized.
  [[nodiscard]] virtual std::shared_ptr<const CLLocation> location() const = 0;

  /// Calls the observer for new fixes and headings until the returned token is destroyed.
  [[nodiscard]] virtual std::shared_ptr<void> observe(Observer observer) = 0;

  /// A device without a location.
  [[nodiscard]] static std::shared_ptr<CLLocationProvider> none();

  /// A stationary device: the location is known at once and reported once to every observer.
  [[nodiscard]] static std::shared_ptr<CLLocationProvider> fixed(std::shared_ptr<const CLLocation> location);

  /// A receiver served by gpsd. A separate thread reads from the daemon until the provider is destroyed,
  /// which does not block. If the connection fails, the thread reconnects silently, after 1 second at first
  /// and later every 30 seconds.
  ///
  /// Accuracies are gpsd's estimates (mostly 95% confidence), or 100 m horizontally if gpsd has no estimate.
  /// A fix without altitude has the altitude 0 and the vertical accuracy -1. There are no headings, because
  /// the direction of travel is not the orientation of the device. In a library built without gpsd the
  /// provider has no location and writes one line to the system log.
  [[nodiscard]] static std::shared_ptr<CLLocationProvider> gpsd(std::string host = "localhost",
                                                                std::string port = "2947");
};

}  // namespace geoloom::platform
