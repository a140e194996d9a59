#include <gmock/gmock.h>

#include "geoloom/base/AtomicValue.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/storage/LocationManager.h"

namespace geoloom {
namespace {

using namespace platform;
using Locations = std::vector<std::shared_ptr<const CLLocation>>;
using ::testing::ElementsAre;

std::shared_ptr<const CLLocation> at(double latitude) {
  return std::make_shared<CLLocation>(CLLocationCoordinate2D{latitude, 20}, 30, 4, 5, Date{});
}

// A device that the test scripts.
class ScriptedLocation final : public CLLocationProvider {
 public:
  [[nodiscard]] CLAuthorizationStatus authorizationStatus() const override { return status; }
  [[nodiscard]] std::shared_ptr<const CLLocation> location() const override {
    if (atLocation) atLocation();
    return latest.load();
  }
  [[nodiscard]] std::shared_ptr<void> observe(Observer observer) override {
    auto held = std::make_shared<Observer>(std::move(observer));
    if (held->heading) heading = held;
    if (held->locations) locations = held;
    return held;
  }

  CLAuthorizationStatus status = CLAuthorizationStatus::authorizedWhenInUse;
  std::function<void()> atLocation;
  base::AtomicValue<std::shared_ptr<const CLLocation>> latest;
  std::weak_ptr<Observer> heading;
  std::weak_ptr<Observer> locations;
};

struct Recorder final : LocationManagerDelegate {
  void locationDidUpdate(const std::shared_ptr<const CLLocation>& location) override {
    locations.push_back(location);
  }
  void headingDidUpdate(double heading, double accuracy) override {
    headings.emplace_back(heading, accuracy);
  }
  Locations locations;
  std::vector<std::pair<double, double>> headings;
};

class LocationManagerTest : public ::testing::Test {
 protected:
  LocationManagerTest() { CLLocationManager::setProvider(device_); }
  std::shared_ptr<ScriptedLocation> device_ = std::make_shared<ScriptedLocation>();
};

TEST_F(LocationManagerTest, HasTheLastFixAtOnceAndEndsItsUpdates) {
  device_->latest.store(at(1));
  auto manager = LocationManager::create();
  EXPECT_EQ(manager->currentLocation(), device_->latest.load());
  EXPECT_EQ(manager->currentHeading(), std::nullopt);
  EXPECT_EQ(manager->currentHeadingAccuracy(), std::nullopt);
  EXPECT_FALSE(device_->heading.expired());
  EXPECT_FALSE(device_->locations.expired());
  manager.reset();
  DispatchQueue::main()->sync([] {});
  EXPECT_TRUE(device_->heading.expired());
  EXPECT_TRUE(device_->locations.expired());
}

TEST_F(LocationManagerTest, HasNoLocationUnlessAuthorized) {
  device_->latest.store(at(1));
  for (const auto status : {CLAuthorizationStatus::notDetermined, CLAuthorizationStatus::restricted,
                            CLAuthorizationStatus::denied}) {
    device_->status = status;
    const auto manager = LocationManager::create();
    device_->locations.lock()->locations({at(1)});
    EXPECT_EQ(manager->currentLocation(), nullptr);
  }
  device_->status = CLAuthorizationStatus::authorizedAlways;
  EXPECT_NE(LocationManager::create()->currentLocation(), nullptr);
}

// The provider has no fix when the constructor reads it, and reports one before the constructor stores the
// result.
TEST_F(LocationManagerTest, KeepsAFixThatArrivesDuringConstruction) {
  const auto fix = at(1);
  device_->atLocation = [&] {
    device_->atLocation = nullptr;
    device_->latest.store(fix);
    device_->locations.lock()->locations({fix});
    device_->latest.store(nullptr);
  };
  EXPECT_EQ(LocationManager::create()->currentLocation(), fix);
}

TEST_F(LocationManagerTest, ForwardsEveryFixAndKeepsTheProvidersLatest) {
  const auto manager = LocationManager::create();
  const Locations fixes{at(1), at(2), at(3)};
  const auto recorder = std::make_shared<Recorder>();

  device_->latest.store(fixes[1]);
  device_->locations.lock()->locations(fixes);
  EXPECT_EQ(manager->currentLocation(), fixes[1]);

  manager->setDelegate(recorder);
  device_->latest.store(fixes[2]);
  device_->locations.lock()->locations(fixes);
  EXPECT_EQ(recorder->locations, fixes);
  EXPECT_EQ(manager->currentLocation(), fixes[2]);
}

TEST_F(LocationManagerTest, UsesTrueNorthIfTheHeadingIsValid) {
  const auto manager = LocationManager::create();
  const auto recorder = std::make_shared<Recorder>();
  manager->setDelegate(recorder);
  const auto turn = [&](double accuracy) {
    device_->heading.lock()->heading(std::make_shared<CLHeading>(10, 12, accuracy));
  };
  turn(-1);
  EXPECT_EQ(manager->currentHeading(), 10);
  EXPECT_EQ(manager->currentHeadingAccuracy(), -1);
  turn(5);
  EXPECT_EQ(manager->currentHeading(), 12);
  EXPECT_EQ(manager->currentHeadingAccuracy(), 5);
  turn(0);
  EXPECT_EQ(manager->currentHeading(), 12);
  EXPECT_THAT(recorder->headings,
              ElementsAre(std::pair(10.0, -1.0), std::pair(12.0, 5.0), std::pair(12.0, 0.0)));
}

TEST(LocationProviders, NoneHasNoLocation) {
  EXPECT_EQ(LocationManager::create()->currentLocation(), nullptr);
  CLLocationManager::setProvider(CLLocationProvider::fixed(nullptr));
  EXPECT_EQ(LocationManager::create()->currentLocation(), nullptr);
}

TEST(LocationProviders, FixedIsReportedOnceToEachObserver) {
  const auto place = at(48);
  const auto provider = CLLocationProvider::fixed(place);
  CLLocationManager::setProvider(provider);
  EXPECT_EQ(LocationManager::create()->currentLocation(), place);

  std::vector<Locations> kept;
  std::vector<Locations> dropped;
  std::shared_ptr<void> observation;
  // On the main queue, on which reports arrive: none can arrive before one observation is dropped again.
  DispatchQueue::main()->sync([&] {
    observation = provider->observe(
        {.locations = [&](const Locations& fixes) { kept.push_back(fixes); }, .heading = {}});
    (void)provider->observe(
        {.locations = [&](const Locations& fixes) { dropped.push_back(fixes); }, .heading = {}});
  });
  DispatchQueue::main()->sync([] {});
  EXPECT_THAT(kept, ElementsAre(Locations{place}));
  EXPECT_TRUE(dropped.empty());
}

}  // namespace
}  // namespace geoloom
