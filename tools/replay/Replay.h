#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "geoloom/recording/ARRecording.h"
#include "geoloom/session/types/MapMode.h"

#include "tools/replay/ServiceOptions.h"
#include "tools/replay/Trace.h"
#include "tools/replay/TraceRecorder.h"

namespace geoloom::tools {

struct ReplayOptions {
  ServiceOptions service;  ///< already applied
  MapMode mode = MapMode::mapping;
  std::string map = "demo";
  std::vector<std::filesystem::path> recordings;  ///< one session goes through all of them
  std::filesystem::path place;                    ///< file of assets to place; empty: none
  /// Analyse every frame as fast as possible, with the recording's time as clock; otherwise in real time.
  bool lockstep = false;
  ARRecordingOptions recording;
  double patience = 60;  ///< longest wait for the service in seconds: its opening, rows, a transform
  /// Asked between two steps; true ends the replay with what it has done so far.
  std::function<bool()> isCancelled = [] { return false; };
};

/// Takes a session of the kit through recordings. `say` receives lines for people, on any thread. Throws
/// CommandError if the session cannot be opened, a file cannot be read, or the assets are not taken. A
/// localization session that finds no transform ends normally, without relocalized assets. The session lives
/// until the process ends.
[[nodiscard]] Trace replay(const ReplayOptions& options, const Say& say);

/// The lines that end a replay.
[[nodiscard]] std::vector<std::string> summaryOf(const Trace& trace);

}  // namespace geoloom::tools
