#include "tools/replay/Replay.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "geoloom/SceneUnderstanding/SSDObjectDetector.h"
#include "geoloom/SceneUnderstanding/gate/MotionGate.h"
#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/ar/ARSession.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/session/MapSession.h"
#include "geoloom/session/SessionObserver.h"

#include "tools/commands/Commands.h"
#include "tools/replay/Placements.h"
#include "tools/replay/SessionWatch.h"

namespace geoloom::tools {
namespace {

using platform::ARFrame;
using std::chrono::duration;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

double millisecondsSince(steady_clock::time_point start) {
  return duration<double, std::milli>(steady_clock::now() - start).count();
}

const char* nameOf(MapStatus status) {
  switch (status) {
    case MapStatus::initialized:
      return "initialized";
    case MapStatus::mapNotFound:
      return "mapNotFound";
    case MapStatus::connectionFailed:
      return "connectionFailed";
    case MapStatus::serviceError:
      return "serviceError";
    default:
      return "unknown";
  }
}

std::vector<TracedAsset> traced(const std::vector<std::shared_ptr<MapAsset>>& assets) {
  std::vector<TracedAsset> result;
  result.reserve(assets.size());
  for (const auto& asset : assets) {
    result.push_back({asset->assetID, asset->position, asset->orientation, asset->confidence});
  }
  return result;
}

/// The frames of all recordings, one after the other; the next one is read while the last one is in work.
class FrameReader {
 public:
  struct Read {
    std::shared_ptr<const ARFrame> frame;  ///< null when it cannot be read
    std::size_t recording = 0;
    std::size_t index = 0;
    double time = 0;  ///< seconds of the replay; never decreases
    double milliseconds = 0;
  };

  explicit FrameReader(std::vector<std::shared_ptr<ARRecording>> recordings)
      : recordings_(std::move(recordings)) {
    fetch();
  }

  /// Nothing after the last frame.
  [[nodiscard]] std::optional<Read> next() {
    std::optional<Read> read = next_.get();
    if (read) fetch();
    return read;
  }

 private:
  void fetch() {
    next_ = std::async(std::launch::async, [this] { return read(); });
  }

  [[nodiscard]] std::optional<Read> read() {
    constexpr double pauseBetweenRecordings = 0.1;
    while (recording_ < recordings_.size() && index_ == recordings_[recording_]->frameCount()) {
      offset_ = time_ + pauseBetweenRecordings;
      index_ = 0;
      ++recording_;
    }
    if (recording_ == recordings_.size()) return std::nullopt;
    ARRecording& recording = *recordings_[recording_];
    time_ = offset_ + recording.timestamp(index_) - recording.timestamp(0);
    const auto start = steady_clock::now();
    Read result{recording.frame(index_), recording_, index_, time_, 0};
    result.milliseconds = millisecondsSince(start);
    ++index_;
    return result;
  }

  const std::vector<std::shared_ptr<ARRecording>> recordings_;
  std::size_t recording_ = 0;
  std::size_t index_ = 0;
  double offset_ = 0;
  double time_ = 0;
  std::future<std::optional<Read>> next_;
};

std::vector<std::shared_ptr<ARRecording>> openAll(const ReplayOptions& options) {
  std::vector<std::shared_ptr<ARRecording>> recordings;
  for (const auto& path : options.recordings) {
    ARRecordingOptions how = options.recording;
    if (!recordings.empty()) how.continues = recordings.front();
    const auto recording = ARRecording::open(path, how);
    if (!recording) throw CommandError(ExitCode::badInput, recording.failure().message);
    recordings.push_back(*recording);
  }
  if (recordings.empty()) throw CommandError(ExitCode::usage, "replay: name a recording");
  return recordings;
}

/// The image's size, which the view must share in shape.
platform::CGSize imageSize(const std::vector<std::shared_ptr<ARRecording>>& recordings) {
  for (const auto& recording : recordings) {
    for (std::size_t i = 0; i < recording->frameCount(); ++i) {
      if (const auto frame = recording->frame(i)) return frame->camera().imageResolution();
    }
  }
  throw CommandError(ExitCode::badInput, "none of the recording's frames can be read");
}

/// Hears of statuses that come before callbacks can be registered too: a service on this machine may answer
/// while the session is still being made.
class ReplayedSession final : public MapSession {
 public:
  using MapSession::MapSession;

  /// Set before a session is made.
  static inline std::function<void(MapStatus)> heard;

 private:
  void reportStatus(MapStatus status) override {
    heard_(status);
    MapSession::reportStatus(status);
  }

  const std::function<void(MapStatus)> heard_ = heard;
};

/// Passes on what a replay needs besides the session's callbacks and console lines.
class ReplayObserver final : public SessionObserver {
 public:
  explicit ReplayObserver(SessionWatch& watch) : watch_(watch) {}

  void detectorCreated(const std::shared_ptr<SSDObjectDetector>& created) override { detector = created; }
  void frameFinished(const ARFrame& /*frame*/, const FrameOutcome& outcome) override {
    if (!outcome.failure) lastAnalysis = outcome;
  }
  void tickEnded() override {
    watch_.tell([](SessionWatch::Told& t) { ++t.ticks; });
  }

  std::shared_ptr<SSDObjectDetector> detector;
  /// Of the frame in work; for the detector's queue only.
  std::optional<FrameOutcome> lastAnalysis;

 private:
  SessionWatch& watch_;
};

/// One replay: the session, what it is driven by and what is seen of it.
class Replay {
 public:
  Replay(const ReplayOptions& options, const std::function<void(const std::string&)>& say)
      : options_(options), sayLine_(say), recordings_(openAll(options)) {
    if (options.lockstep) {
      clock_ = std::make_shared<platform::ManualClock>(std::chrono::system_clock::now());
      platform::Clock::install(clock_);
    }
    trace_.mode = options.mode == MapMode::mapping ? "mapping" : "localization";
    trace_.map = options.map;
  }

  [[nodiscard]] Trace run() {
    const std::vector<Placement> placements = readPlacementsInSession();
    const platform::CGSize size = imageSize(recordings_);
    platform::Console::setSink([this, print = consoleOf()](std::string_view line) {
      watch_.consoleLine(line);
      print(line);
    });
    startSession(size);
    waitUntilOpen();
    if (!placements.empty()) place(placements);
    play();
    const bool areSaved = drainSaves();
    // A service that let patience run out once is not waited for again.
    if (areSaved && options_.mode == MapMode::localization) waitForTransform();
    platform::Console::setSink(consoleOf());
    finishTrace();
    const std::lock_guard lock(mutex_);
    finished_ = true;
    return trace_;
  }

 private:
  static platform::LineSink consoleOf() {
    return [](std::string_view line) { platform::SystemLog::log(line); };
  }

  [[nodiscard]] std::vector<Placement> readPlacementsInSession() const {
    if (options_.place.empty()) return {};
    if (options_.mode != MapMode::mapping) {
      throw CommandError(ExitCode::usage,
                         "--place needs --mode mapping: assets are placed while a map is made");
    }
    const auto placements = readPlacements(options_.place);
    if (!placements) throw CommandError(ExitCode::badInput, placements.failure().message);
    return inSession(*placements, recordings_.front()->sessionFromRecording());
  }

  void startSession(platform::CGSize size) {
    arSession_ = std::make_shared<platform::ARSession>();
    const ServiceOptions& service = options_.service;
    const auto configuration =
        std::make_shared<MapSessionConfiguration>(service.confidenceThreshold, service.matchDistance);
    // Held upright: the sensor's width is the view's height.
    ReplayedSession::heard = [this](MapStatus status) { onStatus(status); };
    SessionObserver::install(observer_);
    session_ = MapSession::create<ReplayedSession>(
        arSession_, options_.mode, service.user, options_.map, service.developerKey,
        ViewSize{.width = size.height, .height = size.width}, configuration);
    session_->registerCallbacks([this](const auto& assets) { onAssets(assets); }, [](MapStatus) {},
                                [this](const auto& objects) { onObjects(objects); });
    detector_ = observer_->detector;
    arSession_->setDidUpdateFrame([this](const auto& frame) { session_->update(frame); });
  }

  void say(const std::string& line) {
    {
      const std::lock_guard lock(mutex_);
      if (finished_) return;
    }
    sayLine_(line);
  }

  // --- what the session tells, on its threads ---

  void onStatus(MapStatus status) {
    {
      const std::lock_guard lock(mutex_);
      trace_.statuses.push_back({time_, nameOf(status)});
    }
    say(fmt::format("status: {}", nameOf(status)));
    watch_.tell([&](SessionWatch::Told& t) { t.status = status; });
  }

  void onAssets(const std::vector<std::shared_ptr<MapAsset>>& assets) {
    {
      const std::lock_guard lock(mutex_);
      trace_.relocalized.push_back({time_, traced(assets)});
    }
    say(fmt::format("relocalized: {} assets", assets.size()));
    watch_.tell([](SessionWatch::Told& t) { ++t.assetLists; });
  }

  /// On the detector's queue, so that what it tracks may be read.
  void onObjects(const std::vector<std::shared_ptr<DetectedObject>>& objects) {
    TracedBatch batch{frameInWork_, {}, detector_->semanticNetwork().trackedObjects().size()};
    std::set<std::string> names;
    std::size_t confident = 0;
    for (const auto& object : objects) {
      batch.objects.push_back({object->name, object->confidence, object->center, object->height});
      if (object->confidence < options_.service.confidenceThreshold) continue;
      ++confident;
      names.insert(object->name);
    }
    watch_.tell([&](SessionWatch::Told& t) { t.rowsExpected += confident; });
    double time = 0;
    {
      const std::lock_guard lock(mutex_);
      time = trace_.frames[frameInWork_].time;
      trace_.batches.push_back(std::move(batch));
    }
    if (names.empty() || names == lastNames_) return;
    lastNames_ = names;
    say(fmt::format("{:6.2f} s  sees {}", time, fmt::join(names, ", ")));
  }

  // --- the run ---

  [[nodiscard]] steady_clock::time_point patienceEnds() const {
    return steady_clock::now() +
           std::chrono::round<steady_clock::duration>(duration<double>(options_.patience));
  }

  /// Lets time pass until `done` holds; in lockstep, where time stands still, by moving the clock at ten
  /// times the pace.
  bool letTimePassUntil(steady_clock::time_point deadline,
                        const std::function<bool(const SessionWatch::Told&)>& done) {
    constexpr milliseconds slice(10);
    while (!watch_.waitFor(slice, done)) {
      if (steady_clock::now() > deadline) return false;
      if (clock_) clock_->advance(10 * slice);
    }
    return true;
  }

  void waitUntilOpen() {
    const bool told = watch_.waitFor(std::chrono::round<milliseconds>(duration<double>(options_.patience)),
                                     [](const SessionWatch::Told& t) { return t.status.has_value(); });
    const ServiceEndpoints endpoints = endpointsOf(options_.service);
    const std::string& address = options_.service.beta ? endpoints.beta : endpoints.production;
    if (!told)
      throw CommandError(ExitCode::service, fmt::format("{}: no answer in {} s", address, options_.patience));
    switch (*watch_.told().status) {
      case MapStatus::initialized:
        return;
      case MapStatus::mapNotFound:
        throw CommandError(
            ExitCode::service,
            fmt::format("map \"{}\": not found; make it with --mode mapping first", options_.map));
      case MapStatus::connectionFailed:
        throw CommandError(
            ExitCode::service,
            fmt::format("{}: cannot be reached: not running, its certificate not trusted, not a URL, plain "
                        "HTTP beyond this machine, or no mapping service; \"{}\" tells which",
                        address, diagnosis()));
      default: {
        const std::string why = watch_.told().refusal;
        throw CommandError(ExitCode::service, fmt::format("{}: the service refused the session{}{}", address,
                                                          why.empty() ? "" : ": ", why));
      }
    }
  }

  /// The command that says what keeps the mapping service from answering.
  [[nodiscard]] std::string diagnosis() const {
    const ServiceOptions& service = options_.service;
    const std::pair<const char*, const std::string&> given[] = {
        {" --service ", service.service},
        {" --production-url ", service.endpoints.production},
        {" --beta-url ", service.endpoints.beta},
        {" --certificate-authorities ", service.certificateAuthorities}};
    std::string command = "geoloom maps near 0 0";
    for (const auto& [option, value] : given)
      if (!value.empty()) command += option + value;
    return service.beta ? command + " --beta" : command;
  }

  void place(const std::vector<Placement>& placements) {
    std::vector<std::shared_ptr<MapAsset>> assets;
    for (const Placement& p : placements) {
      const platform::SCNVector3 position{static_cast<float>(p.x), static_cast<float>(p.y),
                                          static_cast<float>(p.z)};
      assets.push_back(std::make_shared<MapAsset>(p.id, position, static_cast<float>(p.orientation)));
    }
    trace_.placed = traced(assets);
    const bool sent = session_->storePlacement(
        assets, [this](bool stored) { watch_.tell([&](SessionWatch::Told& t) { t.placed = stored; }); });
    const bool answered =
        sent && watch_.waitFor(std::chrono::round<milliseconds>(duration<double>(options_.patience)),
                               [](const SessionWatch::Told& t) { return t.placed.has_value(); });
    if (!answered || !*watch_.told().placed) {
      throw CommandError(ExitCode::service, "the mapping service did not take the assets");
    }
    say(fmt::format("placed: {} assets", assets.size()));
  }

  void play() {
    FrameReader reader(recordings_);
    const auto start = steady_clock::now();
    double lastSaid = 0;
    while (const auto read = reader.next()) {
      load_.push_back(read->milliseconds);
      if (!read->frame) {
        ++trace_.unreadable;
        continue;
      }
      moveTimeTo(read->time, start);
      offer(*read);
      constexpr double sayEvery = 5;
      if (read->time - lastSaid >= sayEvery) {
        lastSaid = read->time;
        say(fmt::format("{:6.2f} s  frame {} of {}", read->time, read->index + 1,
                        recordings_[read->recording]->frameCount()));
      }
    }
    detector_->updateQueue->sync([] {});
  }

  void moveTimeTo(double time, steady_clock::time_point start) {
    if (clock_) {
      clock_->advance(std::chrono::round<std::chrono::nanoseconds>(duration<double>(time - time_)));
    } else {
      std::this_thread::sleep_until(start +
                                    std::chrono::round<steady_clock::duration>(duration<double>(time)));
    }
    const std::lock_guard lock(mutex_);
    time_ = time;
  }

  /// The detector's queue runs in order: whatever it analyses between the two notes around update() is this
  /// frame.
  void offer(const FrameReader::Read& read) {
    const platform::ARCamera& camera = read.frame->camera();
    const auto& p = camera.transform().columns[3];
    const platform::simd_float3 position{p.x, p.y, p.z};
    const bool moved = gate_.hasMoved(position, camera.eulerAngles());
    std::size_t number = 0;
    {
      const std::lock_guard lock(mutex_);
      number = trace_.frames.size();
      trace_.frames.push_back({read.recording, read.index, read.time, position, !moved, false});
    }
    detector_->updateQueue->async([this, number] { frameInWork_ = number; });
    const auto start = steady_clock::now();
    arSession_->deliver(read.frame);
    const double handover = millisecondsSince(start);
    const auto note = [this, number, start, handover] { noteAnalysis(number, start, handover); };
    if (options_.lockstep) {
      detector_->updateQueue->sync(note);
    } else {
      detector_->updateQueue->async(note);
    }
  }

  /// On the detector's queue, behind whatever the frame caused there.
  void noteAnalysis(std::size_t number, steady_clock::time_point start, double handover) {
    offer_.push_back(handover);
    const auto analysis = std::exchange(observer_->lastAnalysis, std::nullopt);
    if (!analysis) return;
    vision_.push_back(duration<double, std::milli>(analysis->vision).count());
    handling_.push_back(duration<double, std::milli>(analysis->handling).count());
    frame_.push_back(millisecondsSince(start));
    const std::lock_guard lock(mutex_);
    trace_.frames[number].analysed = true;
  }

  /// Whether the table service has said of every row what became of it.
  bool drainSaves() {
    const bool drained = letTimePassUntil(patienceEnds(), [](const SessionWatch::Told& t) {
      return t.rowsSaved + t.rowsFailed >= t.rowsExpected;
    });
    const SessionWatch::Told told = watch_.told();
    if (told.rowsSaved < told.rowsExpected) {
      trace_.serviceFailure =
          fmt::format("{}: {} of {} rows were not saved: {}", endpointsOf(options_.service).tables,
                      told.rowsExpected - told.rowsSaved, told.rowsExpected,
                      drained ? told.rowFailure : fmt::format("no answer in {} s", options_.patience));
    }
    return drained;
  }

  /// A localization that was asked for after the last row was saved knows all of them; what it finds is seen
  /// by the next looks at the table.
  void waitForTransform() {
    const auto deadline = patienceEnds();
    const SessionWatch::Told before = watch_.told();
    const bool answered = letTimePassUntil(deadline, [&](const SessionWatch::Told& t) {
      return t.localizationsAnswered > before.localizationsAsked;
    });
    if (!answered) {
      noteSilence(before);
      return;
    }
    constexpr int looks = 3;
    for (int i = 0; i < looks; ++i) waitForNextTick(deadline);
    letTimePassUntil(deadline, [](const SessionWatch::Told& t) { return t.assetLists > 0; });
  }

  /// The service is to blame when it was asked and has not said a word since.
  void noteSilence(const SessionWatch::Told& before) {
    const SessionWatch::Told now = watch_.told();
    const bool isSilent = now.localizationsAsked > now.localizationsAnswered &&
                          now.localizationsAnswered == before.localizationsAnswered;
    if (!isSilent || !trace_.serviceFailure.empty()) return;
    trace_.serviceFailure = fmt::format("{}: no answer to the localization in {} s",
                                        endpointsOf(options_.service).sceneUnderstanding, options_.patience);
  }

  /// Lets a second pass and waits for what the session does with it.
  void waitForNextTick(steady_clock::time_point deadline) {
    constexpr std::chrono::seconds period(1);
    const std::size_t before = watch_.told().ticks;
    if (clock_) {
      clock_->advance(period);
    } else {
      watch_.waitFor(period, [](const SessionWatch::Told&) { return false; });
    }
    letTimePassUntil(deadline, [&](const SessionWatch::Told& t) { return t.ticks > before; });
  }

  void finishTrace() {
    detector_->updateQueue->sync([this] {
      for (const auto& object : detector_->semanticNetwork().trackedObjects()) {
        trace_.tracks.push_back(
            {object->id(), object->objectClass(), object->seenFrames(), object->smoothBBox()});
      }
    });
    const SessionWatch::Told told = watch_.told();
    trace_.saved = told.rowsSaved;
    trace_.notSaved = told.rowsExpected - std::min(told.rowsSaved, told.rowsExpected);
    trace_.mapUUID = session_->mappingUUID().value_or("");
    trace_.sessionUUID = session_->mapSessionUUID().value_or("");
    for (std::size_t i = 0; i < recordings_.size(); ++i) {
      trace_.recordings.push_back({options_.recordings[i].string(), recordings_[i]->frameCount(),
                                   recordings_[i]->sessionFromRecording()});
      for (const std::string& problem : recordings_[i]->problems()) {
        trace_.problems.push_back(options_.recordings[i].string() + ": " + problem);
      }
    }
    trace_.stages = {{"load", std::move(load_)},
                     {"offer", std::move(offer_)},
                     {"vision", std::move(vision_)},
                     {"handling", std::move(handling_)},
                     {"frame", std::move(frame_)}};
  }

  const ReplayOptions options_;
  const std::function<void(const std::string&)> sayLine_;
  const std::vector<std::shared_ptr<ARRecording>> recordings_;
  std::shared_ptr<platform::ManualClock> clock_;  ///< null in real time
  std::shared_ptr<platform::ARSession> arSession_;
  std::shared_ptr<MapSession> session_;
  std::shared_ptr<SSDObjectDetector> detector_;
  SessionWatch watch_;
  const std::shared_ptr<ReplayObserver> observer_ = std::make_shared<ReplayObserver>(watch_);
  MotionGate gate_;  ///< sees what the detector's sees, so that gated frames can be told from dropped ones

  std::mutex mutex_;  ///< of trace_ and time_ while the session runs
  Trace trace_;
  double time_ = 0;
  bool finished_ = false;  ///< what comes later is nobody's business

  std::vector<double> load_;
  // On the detector's queue only.
  std::size_t frameInWork_ = 0;
  std::set<std::string> lastNames_;
  std::vector<double> offer_;
  std::vector<double> vision_;
  std::vector<double> handling_;
  std::vector<double> frame_;
};

}  // namespace

Trace replay(const ReplayOptions& options, const std::function<void(const std::string&)>& say) {
  checkModel();
  // Sessions never die and may still call back: what they call back into lives as long.
  static auto& replays = *new std::vector<std::unique_ptr<Replay>>;
  return replays.emplace_back(std::make_unique<Replay>(options, say))->run();
}

std::vector<std::string> summaryOf(const Trace& trace) {
  std::vector<std::string> lines;
  for (const std::string& problem : trace.problems) lines.push_back("problem: " + problem);
  lines.push_back(fmt::format("frames: {} offered, {} gated, {} dropped, {} analysed", trace.frames.size(),
                              trace.gated(), trace.dropped(), trace.analysed()));
  lines.push_back(fmt::format("objects: {} tracked in {} detections; {} rows saved, {} not saved",
                              trace.tracks.size(), trace.batches.size(), trace.saved, trace.notSaved));
  for (const TracedStage& stage : trace.stages) {
    lines.push_back(fmt::format("latency: {:<9} p50 {:7.2f} ms  p99 {:7.2f} ms", stage.name,
                                stage.percentile(0.5), stage.percentile(0.99)));
  }
  if (trace.mode != "localization") return lines;
  if (trace.relocalized.empty()) {
    lines.emplace_back("assets: none relocalized");
    return lines;
  }
  for (const TracedAsset& asset : trace.relocalized.back().assets) {
    lines.push_back(fmt::format("asset: {} at {:.3f} {:.3f} {:.3f}", asset.id, asset.position.x,
                                asset.position.y, asset.position.z));
  }
  return lines;
}

}  // namespace geoloom::tools
