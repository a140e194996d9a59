#include "geoloom/platform/location/CLLocationProvider.h"

namespace geoloom::platform {
namespace {

class NoLocation final : public CLLocationProvider {
 public:
  [[nodiscard]] CLAuthorizationStatus authorizationStatus() const override {
    return CLAuthorizationStatus::denied;
  }
  [[nodiscard]] std::shared_ptr<const CLLocation> location() const override { return nullptr; }
  [[nodiscard]] std::shared_ptr<void> observe(Observer /*observer*/) override { return nullptr; }
};

}  // namespace

std::shared_ptr<CLLocationProvider> CLLocationProvider::none() {
  return std::make_shared<NoLocation>();
}

}  // namespace geoloom::platform
