#include "tools/replay/TraceRecorder.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "geoloom/SceneUnderstanding/track/SemanticNetwork.h"

#include "tools/replay/LocalizationAnswer.h"
#include "tools/terminal/Terminal.h"

namespace geoloom::tools {
namespace {

using std::chrono::steady_clock;

double milliseconds(steady_clock::duration time) {
  return std::chrono::duration<double, std::milli>(time).count();
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

}  // namespace

std::vector<TracedAsset> traced(const std::vector<std::shared_ptr<MapAsset>>& assets) {
  std::vector<TracedAsset> result;
  result.reserve(assets.size());
  for (const auto& asset : assets)
    result.push_back({asset->assetID, asset->position, asset->orientation, asset->confidence});
  return result;
}

TraceRecorder::TraceRecorder(Say say, float confidenceThreshold)
    : say_(std::move(say)), confidenceThreshold_(confidenceThreshold) {}

TraceRecorder::Progress TraceRecorder::progress() const {
  const base::MutexLock lock(mutex_);
  return progress_;
}

bool TraceRecorder::waitFor(std::chrono::milliseconds timeout,
                            const std::function<bool(const Progress&)>& done) const {
  const auto deadline = steady_clock::now() + timeout;
  const base::MutexLock lock(mutex_);
  while (!done(progress_)) {
    if (changed_.wait_until(mutex_, deadline) == std::cv_status::timeout) return done(progress_);
  }
  return true;
}

void TraceRecorder::edit(const std::function<void(Trace&, Progress&)>& change) {
  {
    const base::MutexLock lock(mutex_);
    if (finished_) return;
    change(trace_, progress_);
  }
  changed_.notify_all();
}

void TraceRecorder::setTime(double seconds) {
  const base::MutexLock lock(mutex_);
  time_ = seconds;
}

void TraceRecorder::addFrame(const TracedFrame& traced, const platform::ARFrame& frame) {
  const base::MutexLock lock(mutex_);
  offered_[&frame] = {trace_.frames.size(), steady_clock::now()};
  progress_.framesUndecided = offered_.size();
  trace_.frames.push_back(traced);
}

void TraceRecorder::addDetections(const std::vector<std::shared_ptr<DetectedObject>>& objects) {
  const base::MutexLock lock(mutex_);
  detections_.clear();
  for (const auto& object : objects)
    detections_.push_back({object->name, object->confidence, object->center, object->height});
}

void TraceRecorder::addLatency(const std::string& stage, double milliseconds) {
  const base::MutexLock lock(mutex_);
  stageNamed(stage).milliseconds.push_back(milliseconds);
}

Trace TraceRecorder::finish() {
  const base::MutexLock lock(mutex_);
  finished_ = true;
  trace_.saved = progress_.rowsSaved;
  trace_.notSaved = progress_.rowsExpected - std::min(progress_.rowsSaved, progress_.rowsExpected);
  return std::move(trace_);
}

void TraceRecorder::opened(MapStatus status, const std::string& refusal) {
  sayUnlessFinished(fmt::format("status: {}", nameOf(status)));
  {
    const base::MutexLock lock(mutex_);
    trace_.statuses.push_back({time_, nameOf(status)});
    progress_.status = status;
    progress_.refusal = refusal;
  }
  changed_.notify_all();
}

void TraceRecorder::frameOffered(const platform::ARFrame& frame, FrameOffer offer) {
  if (offer == FrameOffer::taken) return;  // frameFinished follows, or has been called
  {
    const base::MutexLock lock(mutex_);
    if (const auto offered = settle(frame)) trace_.frames[offered->number].gated = offer == FrameOffer::still;
  }
  changed_.notify_all();
}

void TraceRecorder::frameFinished(const platform::ARFrame& frame, const FrameOutcome& outcome) {
  std::string line;
  {
    const base::MutexLock lock(mutex_);
    const auto offered = settle(frame);
    if (offered && !outcome.failure) line = addAnalysis(*offered, outcome);
  }
  changed_.notify_all();
  if (!line.empty()) sayUnlessFinished(line);
}

std::optional<TraceRecorder::Offered> TraceRecorder::settle(const platform::ARFrame& frame) {
  const auto found = finished_ ? offered_.end() : offered_.find(&frame);
  if (found == offered_.end()) return std::nullopt;
  const Offered offered = found->second;
  offered_.erase(found);
  progress_.framesUndecided = offered_.size();
  return offered;
}

std::string TraceRecorder::addAnalysis(const Offered& offered, const FrameOutcome& outcome) {
  TracedFrame& frame = trace_.frames[offered.number];
  frame.analysed = true;
  stageNamed("vision").milliseconds.push_back(milliseconds(outcome.vision));
  stageNamed("handling").milliseconds.push_back(milliseconds(outcome.handling));
  stageNamed("frame").milliseconds.push_back(milliseconds(steady_clock::now() - offered.start));
  trace_.tracks.clear();
  for (const auto& object : outcome.tracked->trackedObjects())
    trace_.tracks.push_back(
        {object->id(), object->objectClass(), object->seenFrames(), object->smoothBBox()});
  std::string line = newNames(frame.time);
  if (!detections_.empty())
    trace_.batches.push_back({offered.number, std::exchange(detections_, {}), trace_.tracks.size()});
  return line;
}

void TraceRecorder::rowsExpected(std::size_t count) {
  edit([&](Trace&, Progress& progress) { progress.rowsExpected += count; });
}

void TraceRecorder::rowSaved() {
  edit([](Trace&, Progress& progress) { ++progress.rowsSaved; });
}

void TraceRecorder::rowFailed(const std::string& reason) {
  edit([&](Trace&, Progress& progress) {
    ++progress.rowsFailed;
    progress.rowFailure = reason;
  });
}

void TraceRecorder::localizationAsked() {
  edit([](Trace&, Progress& progress) { ++progress.localizationsAsked; });
}

void TraceRecorder::localizationAnswered(const platform::JSON& answer) {
  auto localization = readLocalization(answer);
  bool hasAnswer = false;
  edit([&](Trace&, Progress&) { hasAnswer = transform_.has_value(); });
  if (localization) sayUnlessFinished(sentenceOf(*localization, hasAnswer));
  edit([&](Trace& trace, Progress& progress) {
    ++progress.localizationsAnswered;
    if (!localization) return;
    localization->time = time_;
    trace.localizations.push_back(*std::move(localization));
  });
}

void TraceRecorder::transformFound(const MapTransform& transform) {
  const base::MutexLock lock(mutex_);
  transform_ = TracedTransform{transform.translation, transform.rotation};
}

void TraceRecorder::assetsMoved(const std::vector<std::shared_ptr<MapAsset>>& assets) {
  sayUnlessFinished(fmt::format("relocalized: {}", counted(assets.size(), "asset")));
  {
    const base::MutexLock lock(mutex_);
    if (finished_) return;
    trace_.relocalized.push_back({time_, traced(assets), transform_});
    ++progress_.assetLists;
  }
  changed_.notify_all();
}

void TraceRecorder::tickEnded() {
  edit([](Trace&, Progress& progress) { ++progress.ticks; });
}

void TraceRecorder::sayUnlessFinished(const std::string& line) {
  {
    const base::MutexLock lock(mutex_);
    if (finished_) return;
  }
  say_(line);
}

TracedStage& TraceRecorder::stageNamed(const std::string& name) {
  auto& stages = trace_.stages;
  const auto found = std::find_if(stages.begin(), stages.end(),
                                  [&](const TracedStage& stage) { return stage.name == name; });
  return found != stages.end() ? *found : stages.emplace_back(TracedStage{name, {}});
}

std::string TraceRecorder::newNames(double time) {
  std::set<std::string> names;
  for (const TracedObject& object : detections_)
    if (object.confidence >= confidenceThreshold_) names.insert(object.name);
  if (names.empty() || names == lastNames_) return {};
  lastNames_ = names;
  return fmt::format("{:6.2f} s  sees {}", time, fmt::join(names, ", "));
}

}  // namespace geoloom::tools
