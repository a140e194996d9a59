#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "geoloom/SceneUnderstanding/SSDObjectDetector.h"
#include "geoloom/platform/ar/ARSession.h"
#include "geoloom/platform/foundation/Bundle.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/FileManager.h"
#include "geoloom/session/MapSession.h"
#include "geoloom/session/SessionObserver.h"
#include "geoloom/session/types/ServiceEndpoints.h"

#include "tests/support/FakeService.h"
#include "tests/support/Recorder.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TinyModel.h"

namespace geoloom::test {

/// Name under which a request is scripted and recorded: its path, or the last part of its target.
inline std::string requestName(const RecordedRequest& request) {
  const auto target = request.header("X-Amz-Target");
  return target ? target->substr(target->rfind('.') + 1) : request.path;
}

/// Records a session's steps, for tests to wait for.
class SessionWatch final : public SessionObserver {
 public:
  void detectorCreated(const std::shared_ptr<SSDObjectDetector>& created) override { detector = created; }
  void opened(MapStatus /*status*/, const std::string& refusal) override { events.add("opened " + refusal); }
  void storedAssetsReceived() override { events.add("stored assets"); }
  void frameFinished(const platform::ARFrame& /*frame*/, const FrameOutcome& outcome) override {
    events.add(outcome.failure ? outcome.failure->message : "frame analysed");
  }
  void rowsExpected(std::size_t count) override { events.add("rows " + std::to_string(count)); }
  void rowSaved() override { events.add("row saved"); }
  void rowFailed(const std::string& reason) override { events.add("row failed: " + reason); }
  void localizationAsked() override { events.add("localization asked"); }
  void localizationAnswered(const platform::JSON& /*answer*/) override {
    events.add("localization answered");
  }
  void transformFound(const MapTransform& /*transform*/) override { events.add("transform"); }
  void assetsMoved(const std::vector<std::shared_ptr<MapAsset>>& /*assets*/) override {
    assetThread = std::this_thread::get_id();
  }
  void tickEnded() override { events.add("tick"); }

  [[nodiscard]] std::size_t count(const std::string& event) const {
    const auto all = events.entries();
    return static_cast<std::size_t>(std::count(all.begin(), all.end(), event));
  }
  [[nodiscard]] bool waitFor(const std::string& event, std::size_t expected = 1) const {
    return events.waitUntil([&](const auto& all) {
      return static_cast<std::size_t>(std::count(all.begin(), all.end(), event)) >= expected;
    });
  }

  Recorder<std::string> events;
  std::shared_ptr<SSDObjectDetector> detector;
  /// The thread of the asset queue that delivered assets last.
  std::atomic<std::thread::id> assetThread;
};

/// A session with a scripted service, on a clock that the test moves. `journal` has the printed and logged
/// lines, requests and statuses in order: "> console", "! system log", "/path" or "Scan", "status 0".
///
/// Sessions live until the process ends: every test runs in its own process.
class SessionTest : public ::testing::Test {
 protected:
  SessionTest() {
    platform::Bundle::setMainBundleIdentifier("demo");
    platform::FileManager::setDocumentsDirectory(directory.path() / "documents");
    platform::FileManager::setStateDirectory(directory.path() / "state");
    platform::Clock::install(clock);
    ServiceEndpoints::setCurrent(ServiceEndpoints::withService(service->url()));
    SessionObserver::install(lastWatch);
    answer("/prod/maps/create_map", R"({"uuid": "M1"})");
    answer("/prod/maps/create_localization_session", R"({"session_uuid": "L1", "map_uuid": "M1"})");
    answer("/prod/maps/find_assets_on_the_map", R"({"placements": []})");
    answer("Scan", R"({"Items": [], "Count": 0, "ScannedCount": 0})");
  }

  /// Sets the answer to all further requests of that name.
  void answer(const std::string& name, std::string body) { answer(name, FakeAnswer::json(std::move(body))); }
  void answer(const std::string& name, FakeAnswer fake) {
    const std::lock_guard lock(script->mutex);
    script->answers[name] = std::move(fake);
  }

  template <class Session = MapSession>
  std::shared_ptr<Session> create(MapMode mode, float threshold = 0.6F) {
    SessionObserver::install(lastWatch = std::make_shared<SessionWatch>());
    configuration = std::make_shared<MapSessionConfiguration>(threshold, 0.5F);
    auto session = MapSession::create<Session>(std::make_shared<platform::ARSession>(), mode, "u7", "m3",
                                               "abc", ViewSize{.width = 375, .height = 812}, configuration);
    watches_[session] = lastWatch;
    return session;
  }

  [[nodiscard]] SessionWatch& watch(MapSession& session) {
    return *watches_.at(std::static_pointer_cast<MapSession>(session.shared_from_this()));
  }

  void registerCallbacks(MapSession& session) {
    const SessionWatch& watched = watch(session);
    session.registerCallbacks(
        [this, &watched](const auto& found) {
          EXPECT_EQ(watched.assetThread.load(), std::this_thread::get_id());
          assets.add(found);
        },
        [this](MapStatus status) {
          EXPECT_TRUE(platform::DispatchQueue::main()->isCurrent());
          journal.add("status " + std::to_string(rawValue(status)));
          statuses.add(status);
        },
        [this, &watched](const auto& found) {
          EXPECT_TRUE(watched.detector->updateQueue->isCurrent());
          detections.add(found);
        });
  }

  /// A session with callbacks. As in an application, both are made in one task of the main queue: no answer
  /// of the service can be handled in between.
  template <class Session = MapSession>
  std::shared_ptr<Session> open(MapMode mode, float threshold = 0.6F) {
    std::shared_ptr<Session> session;
    platform::DispatchQueue::main()->sync([&] {
      session = create<Session>(mode, threshold);
      registerCallbacks(*session);
    });
    return session;
  }

  /// A session that has reported `initialized` and, in localization mode, has received its stored assets.
  std::shared_ptr<MapSession> openInitialized(MapMode mode, float threshold = 0.6F) {
    const auto before = statuses.entries().size();
    auto session = open(mode, threshold);
    EXPECT_TRUE(statuses.waitForCount(before + 1));
    EXPECT_TRUE(session->mapSessionUUID().has_value());
    if (mode == MapMode::localization) {
      EXPECT_TRUE(watch(*session).waitFor("stored assets"));
    }
    return session;
  }

  /// Runs `count` ticks of the session's loop. A tick with a failing scan would wait for ever for its retry.
  void tick(MapSession& session, int count = 1) {
    for (; count > 0; --count) {
      const std::size_t before = watch(session).count("tick");
      clock->advance(std::chrono::seconds(1));
      ASSERT_TRUE(watch(session).waitFor("tick", before + 1)) << "the tick hangs after\n"
                                                              << ::testing::PrintToString(journal.entries());
    }
  }

  [[nodiscard]] std::vector<RecordedRequest> requests(const std::string& name) const {
    auto all = service->requests();
    std::erase_if(all, [&](const RecordedRequest& request) { return requestName(request) != name; });
    return all;
  }
  [[nodiscard]] bool waitForRequests(const std::string& name, std::size_t count) const {
    return service->waitUntil([&](const std::vector<RecordedRequest>& all) {
      return static_cast<std::size_t>(std::count_if(
                 all.begin(), all.end(),
                 [&](const RecordedRequest& request) { return requestName(request) == name; })) >= count;
    });
  }

  /// Name of the data directory of a session created now.
  [[nodiscard]] std::string today() const {
    const std::time_t time = std::chrono::system_clock::to_time_t(clock->date());
    char name[32] = "";
    std::strftime(name, sizeof name, "%y%m%d_%H%M%S", std::localtime(&time));
    return name;
  }

  /// A page of the transform table; a row is (count, value, transform).
  struct Row {
    std::string count;
    std::string value;
    std::string transform;
  };
  static std::string page(const std::vector<Row>& rows, const std::string& lastKey = {}) {
    auto page = nlohmann::ordered_json::object();
    page["Items"] = nlohmann::ordered_json::array();
    for (const Row& row : rows) {
      page["Items"].push_back({{"SessionId", {{"S", "M1"}}},
                               {"Timestamp", {{"N", "1"}}},
                               {"MatchCount", {{"N", row.count}}},
                               {"MatchValue", {{"S", row.value}}},
                               {"Transform", {{"S", row.transform}}}});
    }
    if (!lastKey.empty())
      page["LastEvaluatedKey"] = {{"SessionId", {{"S", lastKey}}}, {"Timestamp", {{"N", "7"}}}};
    return page.dump();
  }

  struct Script {
    std::mutex mutex;
    std::map<std::string, FakeAnswer> answers;
  };

  /// The sessions outlive the test's recorders.
  void TearDown() override {
    for (const auto& [session, watched] : watches_) {
      session->registerCallbacks({}, {}, {});
      watched->detector->updateQueue->sync([] {});
    }
    platform::DispatchQueue::main()->sync([] {});
  }

  const test::TemporaryDirectory directory;
  /// Detects a person, from the middle of the picture almost to its edges.
  const test::TinyModel model{1, 1911, 2};
  Recorder<MapStatus> statuses;
  Recorder<std::vector<std::shared_ptr<MapAsset>>> assets;
  Recorder<std::vector<std::shared_ptr<DetectedObject>>> detections;
  /// The watch of the session created last.
  std::shared_ptr<SessionWatch> lastWatch = std::make_shared<SessionWatch>();
  /// The configuration of the session created last.
  std::shared_ptr<MapSessionConfiguration> configuration;
  LineRecorder journal;
  const std::shared_ptr<platform::ManualClock> clock = std::make_shared<platform::ManualClock>();
  const std::shared_ptr<Script> script = std::make_shared<Script>();
  const std::unique_ptr<FakeService> service =
      std::make_unique<FakeService>([this, held = script](const RecordedRequest& request) {
        const std::string name = requestName(request);
        journal.add(name);
        const std::lock_guard lock(held->mutex);
        const auto found = held->answers.find(name);
        return found == held->answers.end() ? FakeAnswer::json("{}") : found->second;
      });

 private:
  std::map<std::shared_ptr<MapSession>, std::shared_ptr<SessionWatch>> watches_;
};

}  // namespace geoloom::test
