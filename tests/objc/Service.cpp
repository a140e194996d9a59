#include "tests/objc/Service.h"

#include <cstring>

#include "geoloom/session/MapSessionState.h"
#include "geoloom/session/types/DetectedObjectFactory.h"

#include "objc/bridge/Support.h"
#include "tests/session/SessionTest.h"

namespace {

using namespace geoloom;
using geoloom::test::SessionTest;

/// The fixture of the session's own tests, without GoogleTest's ways of running it.
class Service final : public SessionTest {
 public:
  using SessionTest::answer;
  using SessionTest::clock;
  using SessionTest::journal;
  using SessionTest::page;
  using SessionTest::requests;
  using SessionTest::waitForRequests;

 private:
  void TestBody() override {}
};

Service* service = nullptr;
std::weak_ptr<MapSession> remembered;

MapSession& session(const GeoloomNative* native) {
  return *bridge::object<MapSession>(native);
}

auto& state(const GeoloomNative* native) {
  return MapSessionInternals::state(session(native));
}

void detectChair(MapSession& seeing) {
  MapSessionInternals::state(seeing).objectDetector.load()->updateQueue->sync([&] {
    const auto chair = DetectedObjectFactory::make("chair", 0.8125F, {0.1F, -0.5F, -1.2F}, 0.9F);
    MapSessionInternals::handleDetections(seeing, {chair}, 1);
  });
}

template <class Condition>
size_t countOfLines(Condition condition) {
  const auto lines = service->journal.entries();
  return static_cast<size_t>(std::count_if(lines.begin(), lines.end(), condition));
}

}  // namespace

void serviceStart(void) {
  service = new Service;
}

void serviceEnd(void) {
  delete service;
  service = nullptr;
}

void serviceAnswer(const char* name, const char* json) {
  service->answer(name, json);
}

void serviceAnswerTransform(const char* transform) {
  service->answer("Scan", Service::page({{"12", "0.4", transform}}));
}

bool serviceWaitForRequests(const char* name, size_t count) {
  return service->waitForRequests(name, count);
}

char* serviceLastValue(const char* name, const char* key) {
  const auto requests = service->requests(name);
  if (requests.empty() || !requests.back().json().contains(key)) return nullptr;
  return strdup(requests.back().json()[key].dump().c_str());
}

size_t serviceCountOfLine(const char* line) {
  return countOfLines([line](const std::string& entry) { return entry == line; });
}

size_t serviceCountOfLinesThatBegin(const char* beginning) {
  return countOfLines([beginning](const std::string& entry) { return entry.starts_with(beginning); });
}

void serviceTick(const GeoloomNative* native) {
  service->clock->advance(std::chrono::seconds(1));
  state(native).reloadAssetQueue->sync([] {});
}

bool serviceHasStoredAssets(const GeoloomNative* native) {
  const auto dataManager = state(native).dataManager.load();
  return dataManager && dataManager->preloadedAssetJSON();
}

void serviceWaitForDetector(const GeoloomNative* native) {
  state(native).objectDetector.load()->updateQueue->sync([] {});
}

void serviceDetectChair(const GeoloomNative* native) {
  detectChair(session(native));
}

void serviceRemember(const GeoloomNative* native) {
  remembered = bridge::object<MapSession>(native);
}

bool serviceDetectChairInRemembered(void) {
  const auto session = remembered.lock();
  if (session) detectChair(*session);
  return session != nullptr;
}

void serviceThrow(void) {
  throw std::runtime_error("mine");
}

bool serviceIsOnAssetQueue(const GeoloomNative* native) {
  return state(native).reloadAssetQueue->isCurrent();
}

bool serviceIsOnDetectorQueue(const GeoloomNative* native) {
  return state(native).objectDetector.load()->updateQueue->isCurrent();
}
