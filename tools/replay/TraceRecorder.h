#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "geoloom/base/Mutex.h"
#include "geoloom/session/SessionObserver.h"
#include "geoloom/session/types/DetectedObject.h"

#include "tools/replay/Trace.h"

namespace geoloom::tools {

/// Receives one line for people at a time, on any thread.
using Say = std::function<void(std::string_view)>;

/// Writes down what a session does, as a Trace, and lets the replay wait for it. Observes one session from
/// all of its threads.
class TraceRecorder final : public SessionObserver {
 public:
  /// What the replay waits for.
  struct Progress {
    std::optional<MapStatus> status;
    std::string refusal;         ///< error text of a service that refused to open the session
    std::optional<bool> placed;  ///< whether the service took the assets
    std::size_t assetLists = 0;
    std::size_t rowsExpected = 0;
    std::size_t rowsSaved = 0;
    std::size_t rowsFailed = 0;
    std::string rowFailure;  ///< of the last row that failed
    std::size_t localizationsAsked = 0;
    std::size_t localizationsAnswered = 0;
    std::size_t ticks = 0;            ///< of the relocalization loop
    std::size_t framesUndecided = 0;  ///< offered or in analysis
  };

  /// Objects from `confidenceThreshold` on are named in lines.
  TraceRecorder(Say say, float confidenceThreshold);

  // --- for the replay

  [[nodiscard]] Progress progress() const;
  /// Waits up to `timeout` of real time for `done`; returns whether it holds.
  bool waitFor(std::chrono::milliseconds timeout, const std::function<bool(const Progress&)>& done) const;
  /// Changes trace and progress under the lock; does nothing once finished.
  void edit(const std::function<void(Trace& trace, Progress& progress)>& change);

  /// The time of the events from now on.
  void setTime(double seconds);
  /// Adds a frame, before it is offered to the session.
  void addFrame(const TracedFrame& traced, const platform::ARFrame& frame);
  /// The objects of the frame in analysis, from the session's callback.
  void addDetections(const std::vector<std::shared_ptr<DetectedObject>>& objects);
  /// One measured duration of a stage.
  void addLatency(const std::string& stage, double milliseconds);

  /// The trace. Events after this are ignored: a session goes on until the process ends.
  [[nodiscard]] Trace finish();

  // --- SessionObserver

  void opened(MapStatus status, const std::string& refusal) override;
  void frameOffered(const platform::ARFrame& frame, FrameOffer offer) override;
  void frameFinished(const platform::ARFrame& frame, const FrameOutcome& outcome) override;
  void rowsExpected(std::size_t count) override;
  void rowSaved() override;
  void rowFailed(const std::string& reason) override;
  void localizationAsked() override;
  void localizationAnswered(const platform::JSON& answer) override;
  void transformFound(const MapTransform& transform) override;
  void assetsMoved(const std::vector<std::shared_ptr<MapAsset>>& assets) override;
  void tickEnded() override;

 private:
  struct Offered {
    std::size_t number = 0;  ///< in the trace
    std::chrono::steady_clock::time_point start;
  };

  void sayUnlessFinished(const std::string& line);
  TracedStage& stageNamed(const std::string& name) GEOLOOM_REQUIRES(mutex_);
  /// Takes a frame out of `offered_`; absent if it is not there, or after finish().
  std::optional<Offered> settle(const platform::ARFrame& frame) GEOLOOM_REQUIRES(mutex_);
  /// Returns the line of newNames.
  std::string addAnalysis(const Offered& offered, const FrameOutcome& outcome) GEOLOOM_REQUIRES(mutex_);
  /// A line with the confident objects in `detections_`; empty if they are the same as last time.
  std::string newNames(double time) GEOLOOM_REQUIRES(mutex_);

  const Say say_;
  const float confidenceThreshold_;

  mutable base::Mutex mutex_;
  mutable std::condition_variable_any changed_;
  Trace trace_ GEOLOOM_GUARDED_BY(mutex_);
  Progress progress_ GEOLOOM_GUARDED_BY(mutex_);
  double time_ GEOLOOM_GUARDED_BY(mutex_) = 0;
  bool finished_ GEOLOOM_GUARDED_BY(mutex_) = false;
  /// Offered frames whose outcome is not known. The session holds a frame that it analyses, so that its
  /// address is not used again meanwhile.
  std::map<const platform::ARFrame*, Offered> offered_ GEOLOOM_GUARDED_BY(mutex_);
  std::vector<TracedObject> detections_ GEOLOOM_GUARDED_BY(mutex_);  ///< of the frame in analysis
  std::set<std::string> lastNames_ GEOLOOM_GUARDED_BY(mutex_);
  std::optional<TracedTransform> transform_ GEOLOOM_GUARDED_BY(mutex_);
};

/// Positions and orientations of assets, as data.
[[nodiscard]] std::vector<TracedAsset> traced(const std::vector<std::shared_ptr<MapAsset>>& assets);

}  // namespace geoloom::tools
