#include "tests/objc/Service.h"

#include <cstring>

#include "geoloom/session/types/DetectedObjectFactory.h"

#include "objc/bridge/Support.h"
#include "tests/session/SessionTest.h"

namespace {

using namespace geoloom;
using geoloom::test::SessionTest;

/// The fixture of the session's own tests, without GoogleTest's runner.
class Service final : public SessionTest {
 public:
  using SessionTest::answer;
  using SessionTest::clock;
  using SessionTest::journal;
  using SessionTest::lastWatch;
  using SessionTest::page;
  using SessionTest::requests;
  using SessionTest::waitForRequests;

 private:
  void TestBody() override {}
};

Service* service = nullptr;
std::weak_ptr<MapSession> remembered;

void detectChair() {
  const auto& detector = service->lastWatch->detector;
  detector->updateQueue->sync([&] {
    detector->callback({DetectedObjectFactory::make("chair", 0.8125F, {0.1F, -0.5F, -1.2F}, 0.9F)});
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

// A test case has one session: the one whose steps `lastWatch` records.

void serviceTick(const GeoloomNative* /*native*/) {
  const auto ticks = service->lastWatch->count("tick");
  service->clock->advance(std::chrono::seconds(1));
  EXPECT_TRUE(service->lastWatch->waitFor("tick", ticks + 1));
}

bool serviceHasStoredAssets(const GeoloomNative* /*native*/) {
  return service->lastWatch->count("stored assets") > 0;
}

void serviceWaitForDetector(const GeoloomNative* /*native*/) {
  service->lastWatch->detector->updateQueue->sync([] {});
}

void serviceDetectChair(const GeoloomNative* /*native*/) {
  detectChair();
}

void serviceRemember(const GeoloomNative* native) {
  remembered = bridge::object<MapSession>(native);
}

bool serviceDetectChairInRemembered(void) {
  const auto session = remembered.lock();
  if (session) detectChair();
  return session != nullptr;
}

void serviceThrow(void) {
  throw std::runtime_error("mine");
}

bool serviceIsOnAssetQueue(const GeoloomNative* /*native*/) {
  return service->lastWatch->assetThread.load() == std::this_thread::get_id();
}

bool serviceIsOnDetectorQueue(const GeoloomNative* /*native*/) {
  return service->lastWatch->detector->updateQueue->isCurrent();
}
