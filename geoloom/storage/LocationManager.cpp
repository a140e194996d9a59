#include "geoloom/storage/LocationManager.h"

namespace geoloom {

std::shared_ptr<LocationManager> LocationManager::create() {
  std::shared_ptr<LocationManager> manager(new LocationManager);
  manager->start();
  return manager;
}

void LocationManager::start() {
  locationManager_ = platform::CLLocationManager::create();
  locationManager_->desiredAccuracy = platform::kCLLocationAccuracyBest;
  locationManager_->distanceFilter = platform::kCLDistanceFilterNone;
  locationManager_->headingFilter = platform::kCLHeadingFilterNone;
  locationManager_->pausesLocationUpdatesAutomatically = false;
  locationManager_->setDelegate(std::static_pointer_cast<LocationManager>(shared_from_this()));
  locationManager_->startUpdatingHeading();
  locationManager_->startUpdatingLocation();
  locationManager_->requestWhenInUseAuthorization();
  // A fix that has arrived meanwhile on the main queue is newer.
  currentLocation_.storeIfAbsent(locationManager_->location());
}

void LocationManager::didChangeAuthorization(platform::CLLocationManager& /*manager*/,
                                             platform::CLAuthorizationStatus /*status*/) {
  // Updates were started at construction; the service delivers them once it is authorized.
}

void LocationManager::didUpdateLocations(
    platform::CLLocationManager& manager,
    const std::vector<std::shared_ptr<const platform::CLLocation>>& locations) {
  for (const auto& location : locations) {
    if (const auto delegate = delegate_.load().lock()) delegate->locationDidUpdate(location);
  }
  currentLocation_.store(manager.location());
}

void LocationManager::didUpdateHeading(platform::CLLocationManager& /*manager*/,
                                       const std::shared_ptr<const platform::CLHeading>& newHeading) {
  const double accuracy = newHeading->headingAccuracy;
  const double heading = accuracy < 0 ? newHeading->magneticHeading : newHeading->trueHeading;
  heading_.store({heading, accuracy});
  if (const auto delegate = delegate_.load().lock()) delegate->headingDidUpdate(heading, accuracy);
}

bool LocationManager::shouldDisplayHeadingCalibration(platform::CLLocationManager& /*manager*/) {
  return true;
}

}  // namespace geoloom
