#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "geoloom/base/AtomicValue.h"
#include "geoloom/platform/foundation/NSObject.h"
#include "geoloom/platform/location/CLLocationManager.h"

namespace geoloom {

/// Receives the updates of a LocationManager, on the main queue.
class LocationManagerDelegate {
 public:
  virtual ~LocationManagerDelegate() = default;
  virtual void locationDidUpdate(const std::shared_ptr<const platform::CLLocation>& location) = 0;
  /// Degrees.
  virtual void headingDidUpdate(double heading, double accuracy) = 0;
};

/// The device's latest location and heading, updated from construction to destruction. May be read from any
/// thread.
class LocationManager final : public platform::NSObject, public platform::CLLocationManagerDelegate {
 public:
  /// Asks for the best accuracy and starts updates at once.
  [[nodiscard]] static std::shared_ptr<LocationManager> create();

  /// nullptr until the device has a fix and the location may be used.
  [[nodiscard]] std::shared_ptr<const platform::CLLocation> currentLocation() const {
    return currentLocation_.load();
  }
  /// Degrees clockwise from north: true north, or magnetic north if the accuracy is negative.
  [[nodiscard]] std::optional<double> currentHeading() const { return heading_.load().heading; }
  /// Degrees; negative if the device reports the heading as invalid.
  [[nodiscard]] std::optional<double> currentHeadingAccuracy() const { return heading_.load().accuracy; }

  void setDelegate(std::weak_ptr<LocationManagerDelegate> delegate) { delegate_.store(std::move(delegate)); }

  void didChangeAuthorization(platform::CLLocationManager& manager,
                              platform::CLAuthorizationStatus status) override;
  void didUpdateLocations(platform::CLLocationManager& manager,
                          const std::vector<std::shared_ptr<const platform::CLLocation>>& locations) override;
  void didUpdateHeading(platform::CLLocationManager& manager,
                        const std::shared_ptr<const platform::CLHeading>& newHeading) override;
  bool shouldDisplayHeadingCalibration(platform::CLLocationManager& manager) override;

 private:
  struct Heading {
    std::optional<double> heading;
    std::optional<double> accuracy;
  };

  LocationManager() = default;
  void start();

  base::AtomicValue<std::weak_ptr<LocationManagerDelegate>> delegate_;
  std::shared_ptr<platform::CLLocationManager> locationManager_;
  base::AtomicValue<std::shared_ptr<const platform::CLLocation>> currentLocation_;
  base::AtomicValue<Heading> heading_;
};

}  // namespace geoloom
