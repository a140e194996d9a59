#include "geoloom/platform/location/CLLocationManager.h"

#include <utility>

#include "geoloom/base/AtomicValue.h"
#include "geoloom/platform/foundation/Dispatch.h"

namespace geoloom::platform {
namespace {

base::AtomicValue<std::shared_ptr<CLLocationProvider>>& currentProvider() {
  static auto* const provider = new base::AtomicValue(CLLocationProvider::none());
  return *provider;
}

}  // namespace

CLLocationProvider::~CLLocationProvider() = default;
CLLocationManagerDelegate::~CLLocationManagerDelegate() = default;
CLLocationManager::~CLLocationManager() = default;

std::shared_ptr<CLLocationManager> CLLocationManager::create() {
  return std::shared_ptr<CLLocationManager>(new CLLocationManager(currentProvider().load()));
}

void CLLocationManager::setProvider(std::shared_ptr<CLLocationProvider> provider) {
  currentProvider().store(provider ? std::move(provider) : CLLocationProvider::none());
}

CLLocationManager::CLLocationManager(std::shared_ptr<CLLocationProvider> provider)
    : provider_(std::move(provider)) {}

void CLLocationManager::setDelegate(std::weak_ptr<CLLocationManagerDelegate> delegate) {
  delegate_ = std::move(delegate);
}

void CLLocationManager::startUpdatingHeading() {
  const auto self = std::static_pointer_cast<CLLocationManager>(shared_from_this());
  headings_ = provider_->observe({.locations = {},
                                  .heading = [weak = std::weak_ptr(self), to = delegate_](
                                                 const std::shared_ptr<const CLHeading>& heading) {
                                    const auto manager = weak.lock();
                                    const auto delegate = to.lock();
                                    if (manager && delegate) delegate->didUpdateHeading(*manager, heading);
                                  }});
}

void CLLocationManager::startUpdatingLocation() {
  const auto self = std::static_pointer_cast<CLLocationManager>(shared_from_this());
  locations_ = provider_->observe({.locations =
                                       [weak = std::weak_ptr(self), to = delegate_](
                                           const std::vector<std::shared_ptr<const CLLocation>>& fixes) {
                                         const auto manager = weak.lock();
                                         const auto delegate = to.lock();
                                         if (manager && delegate && manager->isAuthorized())
                                           delegate->didUpdateLocations(*manager, fixes);
                                       },
                                   .heading = {}});
}

void CLLocationManager::requestWhenInUseAuthorization() {
  const auto self = std::static_pointer_cast<CLLocationManager>(shared_from_this());
  DispatchQueue::main()->async([weak = std::weak_ptr(self), to = delegate_] {
    const auto manager = weak.lock();
    const auto delegate = to.lock();
    if (manager && delegate)
      delegate->didChangeAuthorization(*manager, manager->provider_->authorizationStatus());
  });
}

bool CLLocationManager::isAuthorized() const {
  const CLAuthorizationStatus status = provider_->authorizationStatus();
  return status == CLAuthorizationStatus::authorizedAlways ||
         status == CLAuthorizationStatus::authorizedWhenInUse;
}

std::shared_ptr<const CLLocation> CLLocationManager::location() const {
  return isAuthorized() ? provider_->location() : nullptr;
}

}  // namespace geoloom::platform
