#pragma once

#include <memory>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/platform/location/CLLocation.h"
#include "geoloom/platform/location/CLLocationProvider.h"

namespace geoloom::platform {

class CLLocationManager;

/// Receives the updates of a location service, on the main queue.
class GEOLOOM_EXPORT CLLocationManagerDelegate {
 public:
  virtual ~CLLocationManagerDelegate();
  virtual void didChangeAuthorization(CLLocationManager& manager, CLAuthorizationStatus status) = 0;
  virtual void didUpdateLocations(CLLocationManager& manager,
                                  const std::vector<std::shared_ptr<const CLLocation>>& locations) = 0;
  virtual void didUpdateHeading(CLLocationManager& manager,
                                const std::shared_ptr<const CLHeading>& newHeading) = 0;
  /// True if a panel for calibrating the compass may be shown.
  virtual bool shouldDisplayHeadingCalibration(CLLocationManager& manager) = 0;
};

inline constexpr double kCLLocationAccuracyBest = -1;
inline constexpr double kCLDistanceFilterNone = -1;
inline constexpr double kCLHeadingFilterNone = -1;

/// One client of the device's location. Configure and start it on one thread; `location` may be called from
/// any. Updates end when the manager or its delegate is destroyed.
class GEOLOOM_EXPORT CLLocationManager final : public NSObject {
 public:
  /// A manager that uses the current provider of the process.
  [[nodiscard]] static std::shared_ptr<CLLocationManager> create();
  ~CLLocationManager() override;

  /// Sets the source of all managers created from now on; nullptr restores the default, which has no
  /// location.
  static void setProvider(std::shared_ptr<CLLocationProvider> provider);

  /// Metres, metres, degrees. Without effect: the providers report every fix.
  double desiredAccuracy = kCLLocationAccuracyBest;
  double distanceFilter = kCLDistanceFilterNone;
  double headingFilter = kCLHeadingFilterNone;
  bool pausesLocationUpdatesAutomatically = true;

  void setDelegate(std::weak_ptr<CLLocationManagerDelegate> delegate);
  void startUpdatingHeading();
  void startUpdatingLocation();
  /// Reports the authorization status to the delegate.
  void requestWhenInUseAuthorization();

  /// The latest fix; nullptr before the first one or if the provider is not authorized.
  [[nodiscard]] std::shared_ptr<const CLLocation> location() const;

 private:
  explicit CLLocationManager(std::shared_ptr<CLLocationProvider> provider);
  [[nodiscard]] bool isAuthorized() const;

  const std::shared_ptr<CLLocationProvider> provider_;
  std::weak_ptr<CLLocationManagerDelegate> delegate_;
  std::shared_ptr<void> headings_;
  std::shared_ptr<void> locations_;
};

}  // namespace geoloom::platform
