#include <utility>

#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/location/CLLocationProvider.h"

namespace geoloom::platform {
namespace {

class FixedLocation final : public CLLocationProvider {
 public:
  explicit FixedLocation(std::shared_ptr<const CLLocation> location) : location_(std::move(location)) {}

  [[nodiscard]] CLAuthorizationStatus authorizationStatus() const override {
    return CLAuthorizationStatus::authorizedWhenInUse;
  }

  [[nodiscard]] std::shared_ptr<const CLLocation> location() const override { return location_; }

  [[nodiscard]] std::shared_ptr<void> observe(Observer observer) override {
    if (!observer.locations) return nullptr;
    const auto observation = std::make_shared<Observer>(std::move(observer));
    DispatchQueue::main()->async([weak = std::weak_ptr(observation), location = location_] {
      if (const auto still = weak.lock()) still->locations({location});
    });
    return observation;
  }

 private:
  const std::shared_ptr<const CLLocation> location_;
};

}  // namespace

std::shared_ptr<CLLocationProvider> CLLocationProvider::fixed(std::shared_ptr<const CLLocation> location) {
  if (!location) return none();
  return std::make_shared<FixedLocation>(std::move(location));
}

}  // namespace geoloom::platform
