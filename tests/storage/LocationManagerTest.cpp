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

// A device in the hands of the test.
class ScriptedLocation final : public CLLocationProvider {
 public:
  [[nodiscard]] CLAuthorizationStatus authorizationStatus() const override {
    return CLAuthorizationStatus::denied;
  }
  [[nodiscard]] std::shared_ptr<const CLLocation> location() const override { return latest.load(); }
  [[nodiscard]] std::shared_ptr<void> observe(Observer observer) override {
    auto held = std::make_shared<Observer>(std::move(observer));
    if (held->heading) heading = held;
    if (held->locations) locations = held;
    return held;
  }

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

TEST_F(LocationManagerTest, KnowsTheLastFixAtOnceAndEndsItsUpdatesWithItself) {
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

TEST_F(LocationManagerTest, PassesEveryFixOnAndKeepsTheServicesOwn) {
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

TEST_F(LocationManagerTest, TakesTrueNorthUnlessTheHeadingIsInvalid) {
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

TEST(LocationBodies, NoneKnowsNothing) {
  EXPECT_EQ(LocationManager::create()->currentLocation(), nullptr);
  CLLocationManager::setProvider(CLLocationProvider::fixed(nullptr));
  EXPECT_EQ(LocationManager::create()->currentLocation(), nullptr);
}

TEST(LocationBodies, FixedIsKnownAtOnceAndReportedOnceToEachObserver) {
  const auto place = at(48);
  const auto provider = CLLocationProvider::fixed(place);
  CLLocationManager::setProvider(provider);
  EXPECT_EQ(LocationManager::create()->currentLocation(), place);

  std::vector<Locations> kept;
  std::vector<Locations> dropped;
  std::shared_ptr<void> observation;
  // On the main queue, where reports arrive: nothing can arrive before one observation is dropped again.
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
