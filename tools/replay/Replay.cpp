#include "tools/replay/Replay.h"

#include <chrono>
#include <cmath>
#include <memory>
#include <numbers>
#include <optional>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "geoloom/SceneUnderstanding/network/feature_model.h"
#include "geoloom/cloud/CloudBodies.h"
#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/ar/ARSession.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/session/MapSession.h"

#include "tools/commands/Commands.h"
#include "tools/replay/FrameReader.h"
#include "tools/replay/MappingClient.h"
#include "tools/replay/Placements.h"
#include "tools/terminal/Terminal.h"

namespace geoloom::tools {
namespace {

using std::chrono::duration;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using Progress = TraceRecorder::Progress;

/// The session's loop ticks at full seconds.
constexpr std::chrono::nanoseconds TICK_PERIOD = std::chrono::seconds(1);

double degreesOf(double radians) {
  return std::remainder(radians, 2 * std::numbers::pi) * 180 / std::numbers::pi;
}

Recordings recordingsOf(const ReplayOptions& options) {
  if (options.recordings.empty()) throw CommandError(ExitCode::usage, "replay: name a recording");
  return valueOf(openRecordings(options.recordings, options.recording));
}

/// Drives one session through recordings.
class Driver {
 public:
  Driver(const ReplayOptions& options, const Say& say)
      : options_(options),
        say_(say),
        recordings_(recordingsOf(options)),
        recorder_(std::make_shared<TraceRecorder>(say, options.service.confidenceThreshold)) {
    if (!options.lockstep) return;
    clock_ = std::make_shared<platform::ManualClock>(std::chrono::system_clock::now());
    platform::Clock::install(clock_);
  }

  [[nodiscard]] Trace run() {
    for (const std::string& problem : problems()) say_("problem: " + problem);
    const std::vector<Placement> placements = placementsInSession();
    startSession();
    waitUntilOpen();
    if (!placements.empty()) place(placements);
    play();
    const bool areSaved = waitForRows();
    // Do not spend the same patience again on a service that has used it up.
    if (areSaved && options_.mode == MapMode::localization) waitForTransform();
    return finishedTrace();
  }

 private:
  [[nodiscard]] std::vector<std::string> problems() const {
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < recordings_.size(); ++i) {
      for (const std::string& problem : recordings_[i]->problems())
        lines.push_back(options_.recordings[i].string() + ": " + problem);
    }
    return lines;
  }

  [[nodiscard]] std::vector<Placement> placementsInSession() const {
    if (options_.place.empty()) return {};
    if (options_.mode != MapMode::mapping) {
      throw CommandError(ExitCode::usage,
                         "--place needs --mode mapping: assets are placed while a map is made");
    }
    return inSession(valueOf(readPlacements(options_.place)), recordings_.front()->sessionFromRecording());
  }

  /// The image of the sensor, which lies on its side in a device that is held upright.
  [[nodiscard]] ViewSize uprightView() const {
    const auto frame = valueOf(recordings_.front()->firstReadableFrame());
    const platform::CGSize sensor = frame->camera().imageResolution();
    return {.width = sensor.height, .height = sensor.width};
  }

  void startSession() {
    arSession_ = std::make_shared<platform::ARSession>();
    const ServiceOptions& service = options_.service;
    const auto configuration =
        std::make_shared<MapSessionConfiguration>(service.confidenceThreshold, service.matchDistance);
    SessionObserver::install(recorder_);
    session_ = MapSession::create(arSession_, options_.mode, service.user, options_.map, service.developerKey,
                                  uprightView(), configuration);
    session_->registerCallbacks(
        [](const auto&) {}, [](MapStatus) {},
        [recorder = recorder_](const auto& objects) { recorder->addDetections(objects); });
    arSession_->setDidUpdateFrame([session = session_](const auto& frame) { session->update(frame); });
  }

  [[nodiscard]] steady_clock::time_point patienceEnds() const {
    return steady_clock::now() +
           std::chrono::round<steady_clock::duration>(duration<double>(options_.patience));
  }

  /// Waits for `done`, until the deadline or until the replay is cancelled, and says what it waits for if it
  /// takes long. With `movesClock` a manual clock runs at ten times the pace meanwhile.
  bool waitFor(const char* what, steady_clock::time_point deadline, bool movesClock,
               const std::function<bool(const Progress&)>& done) {
    constexpr milliseconds slice(10);
    constexpr std::chrono::seconds silence(1);
    const auto start = steady_clock::now();
    bool isSaid = false;
    while (!recorder_->waitFor(slice, done)) {
      const auto now = steady_clock::now();
      if (now > deadline || options_.isCancelled()) return false;
      if (!isSaid && now - start > silence) {
        say_(fmt::format("waiting for {}, up to {:.0f} s", what, duration<double>(deadline - start).count()));
        isSaid = true;
      }
      if (clock_ && movesClock) clock_->advance(10 * slice);
    }
    return true;
  }

  void failIfCancelled() const {
    if (options_.isCancelled())
      throw CommandError(ExitCode::interrupted, "interrupted before the walk began");
  }

  void waitUntilOpen() {
    const bool answered = waitFor("the mapping service", patienceEnds(), false,
                                  [](const Progress& p) { return p.status.has_value(); });
    failIfCancelled();
    const ServiceEndpoints endpoints = endpointsOf(options_.service);
    const std::string& address = options_.service.beta ? endpoints.beta : endpoints.production;
    const auto fail = [](const std::string& line) { throw CommandError(ExitCode::service, line); };
    if (!answered) fail(fmt::format("{}: no answer in {} s", address, options_.patience));
    const Progress progress = recorder_->progress();
    switch (*progress.status) {
      case MapStatus::initialized:
        return;
      case MapStatus::mapNotFound:
        fail(fmt::format("map \"{}\": not found; make it with --mode mapping first", options_.map));
        break;
      case MapStatus::connectionFailed: {
        // The session does not know why; the same request once more does.
        const auto answer = askMappingService(address, CREATE_LOCALIZATION_SESSION_PATH, "{}");
        fail(answer ? address + ": did not answer as a mapping service; name another one, or try again"
                    : answer.failure().message);
        break;
      }
      default:
        fail(fmt::format("{}: the service refused the session{}{}", address,
                         progress.refusal.empty() ? "" : ": ", progress.refusal));
    }
  }

  void place(const std::vector<Placement>& placements) {
    std::vector<std::shared_ptr<MapAsset>> assets;
    for (const Placement& p : placements) {
      const platform::SCNVector3 position{static_cast<float>(p.x), static_cast<float>(p.y),
                                          static_cast<float>(p.z)};
      assets.push_back(std::make_shared<MapAsset>(p.id, position, static_cast<float>(p.orientation)));
    }
    recorder_->edit([&](Trace& trace, Progress&) { trace.placed = traced(assets); });
    const bool sent = session_->storePlacement(assets, [recorder = recorder_](bool stored) {
      recorder->edit([&](Trace&, Progress& progress) { progress.placed = stored; });
    });
    const bool answered = sent && waitFor("the mapping service to take the assets", patienceEnds(), false,
                                          [](const Progress& p) { return p.placed.has_value(); });
    failIfCancelled();
    if (!answered || !*recorder_->progress().placed)
      throw CommandError(ExitCode::service, "the mapping service did not take the assets");
    say_(fmt::format("placed: {}", counted(assets.size(), "asset")));
  }

  void play() {
    FrameReader reader(recordings_);
    const auto start = steady_clock::now();
    double lastSaid = 0;
    while (const auto read = reader.next()) {
      if (options_.isCancelled()) break;
      recorder_->addLatency("load", read->milliseconds);
      if (!read->frame) {
        recorder_->edit([](Trace& trace, Progress&) { ++trace.unreadable; });
        continue;
      }
      moveTimeTo(read->time, start);
      offer(*read);
      constexpr double SAY_EVERY = 5;
      if (read->time - lastSaid >= SAY_EVERY) {
        lastSaid = read->time;
        say_(fmt::format("{:6.2f} s  frame {} of {}", read->time, read->index + 1,
                         recordings_[read->recording]->frameCount()));
      }
    }
    waitUntilAnalysed();
  }

  void moveTimeTo(double time, steady_clock::time_point start) {
    if (clock_) {
      const auto target = std::chrono::round<std::chrono::nanoseconds>(duration<double>(time));
      for (; nextTick_ <= target; nextTick_ += TICK_PERIOD) {
        recorder_->setTime(duration<double>(nextTick_).count());
        advanceTo(nextTick_);
        ++ticksDue_;
        settle();
      }
      advanceTo(target);
    } else {
      std::this_thread::sleep_until(start +
                                    std::chrono::round<steady_clock::duration>(duration<double>(time)));
    }
    recorder_->setTime(time);
  }

  void advanceTo(std::chrono::nanoseconds time) {
    clock_->advance(time - clockTime_);
    clockTime_ = time;
  }

  /// Waits until nothing is under way at the present time, so that a lockstep replay gets the same answers
  /// each time. A service that has used up the patience once is not waited for again.
  void settle() {
    if (!isSettling_) return;
    isSettling_ = waitFor("the services", patienceEnds(), false, [this](const Progress& p) {
      return p.ticks >= ticksDue_ && p.localizationsAnswered >= p.localizationsAsked &&
             p.rowsSaved + p.rowsFailed >= p.rowsExpected;
    });
  }

  void offer(const FrameReader::Frame& read) {
    const auto& p = read.frame->camera().transform().columns[3];
    recorder_->addFrame({read.recording, read.index, read.time, {p.x, p.y, p.z}, false, false}, *read.frame);
    const auto start = steady_clock::now();
    arSession_->deliver(read.frame);
    recorder_->addLatency("offer", duration<double, std::milli>(steady_clock::now() - start).count());
    if (!options_.lockstep) return;
    waitUntilAnalysed();
    settle();
  }

  void waitUntilAnalysed() {
    recorder_->waitFor(std::chrono::hours(1), [](const Progress& p) { return p.framesUndecided == 0; });
  }

  /// Waits until the table service has answered for each row.
  bool waitForRows() {
    const bool answered =
        waitFor("the table service to save the rows", patienceEnds(), true,
                [](const Progress& p) { return p.rowsSaved + p.rowsFailed >= p.rowsExpected; });
    const Progress progress = recorder_->progress();
    if (progress.rowsSaved < progress.rowsExpected) {
      noteFailure(fmt::format("{}: {} of {} rows were not saved: {}", endpointsOf(options_.service).tables,
                              progress.rowsExpected - progress.rowsSaved, progress.rowsExpected,
                              answered ? progress.rowFailure : noAnswer()));
    }
    return answered;
  }

  /// Waits for a localization that was requested after the last row was saved, and for the ticks that read
  /// its transform.
  void waitForTransform() {
    const auto deadline = patienceEnds();
    const Progress before = recorder_->progress();
    const bool answered =
        waitFor("the service to localize the session", deadline, true,
                [&](const Progress& p) { return p.localizationsAnswered > before.localizationsAsked; });
    if (!answered) {
      const Progress now = recorder_->progress();
      if (now.localizationsAsked > now.localizationsAnswered &&
          now.localizationsAnswered == before.localizationsAnswered) {
        noteFailure(fmt::format("{}: no answer to the localization in {} s",
                                endpointsOf(options_.service).sceneUnderstanding, options_.patience));
      }
      return;
    }
    constexpr std::size_t LOOKS = 3;
    const std::size_t ticks = recorder_->progress().ticks;
    waitFor("a transform", deadline, true, [&](const Progress& p) { return p.ticks >= ticks + LOOKS; });
    waitFor("a transform", deadline, true, [](const Progress& p) { return p.assetLists > 0; });
  }

  [[nodiscard]] std::string noAnswer() const {
    return options_.isCancelled() ? "interrupted" : fmt::format("no answer in {} s", options_.patience);
  }

  /// Keeps the first failure.
  void noteFailure(const std::string& line) {
    recorder_->edit([&](Trace& trace, Progress&) {
      if (trace.serviceFailure.empty()) trace.serviceFailure = line;
    });
  }

  [[nodiscard]] Trace finishedTrace() {
    Trace trace = recorder_->finish();
    trace.mode = options_.mode == MapMode::mapping ? "mapping" : "localization";
    trace.map = options_.map;
    trace.mapUUID = session_->mappingUUID().value_or("");
    // The detector's: models are shared.
    if (const auto network = feature_model::create()) trace.engine = network->model->engineDescription();
    trace.sessionUUID = session_->mapSessionUUID().value_or("");
    trace.isInterrupted = options_.isCancelled();
    for (std::size_t i = 0; i < recordings_.size(); ++i) {
      // Absolute, so that a report finds the images from any folder.
      const std::string path = std::filesystem::absolute(options_.recordings[i]).lexically_normal().string();
      trace.recordings.push_back(
          {path, recordings_[i]->frameCount(), recordings_[i]->sessionFromRecording()});
    }
    trace.problems = problems();
    return trace;
  }

  const ReplayOptions& options_;
  const Say& say_;
  const Recordings recordings_;
  const std::shared_ptr<TraceRecorder> recorder_;
  std::shared_ptr<platform::ManualClock> clock_;  ///< null in real time
  std::shared_ptr<platform::ARSession> arSession_;
  std::shared_ptr<MapSession> session_;
  std::chrono::nanoseconds clockTime_{0};            ///< of the manual clock
  std::chrono::nanoseconds nextTick_ = TICK_PERIOD;  ///< of the session's loop
  std::size_t ticksDue_ = 0;
  bool isSettling_ = true;
};

}  // namespace

Trace replay(const ReplayOptions& options, const Say& say) {
  checkModel();
  return Driver(options, say).run();
}

std::vector<std::string> summaryOf(const Trace& trace) {
  std::vector<std::string> lines;
  for (const std::string& problem : trace.problems) lines.push_back("problem: " + problem);
  lines.push_back(fmt::format("frames: {} offered, {} gated, {} dropped, {} analysed", trace.frames.size(),
                              trace.gated(), trace.dropped(), trace.analysed()));
  lines.push_back(fmt::format("objects: {} tracked in {}; {} saved, {} not saved", trace.tracks.size(),
                              counted(trace.batches.size(), "detection"), counted(trace.saved, "row"),
                              trace.notSaved));
  for (const TracedStage& stage : trace.stages) {
    lines.push_back(fmt::format("latency: {:<9} p50 {:7.2f} ms  p99 {:7.2f} ms", stage.name,
                                stage.percentile(0.5), stage.percentile(0.99)));
  }
  if (trace.mode != "localization") return lines;
  if (trace.relocalized.empty()) {
    lines.emplace_back("assets: none relocalized");
    return lines;
  }
  const TracedAssets& last = trace.relocalized.back();
  const float turn = last.transform ? last.transform->theta : 0;
  for (const TracedAsset& asset : last.assets) {
    lines.push_back(fmt::format("asset: {} at {:.3f} {:.3f} {:.3f}, heading {:.1f} deg", asset.id,
                                asset.position.x, asset.position.y, asset.position.z,
                                degreesOf(static_cast<double>(asset.orientation + turn))));
  }
  return lines;
}

}  // namespace geoloom::tools
