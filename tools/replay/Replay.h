#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "geoloom/recording/ARRecording.h"
#include "geoloom/session/types/MapMode.h"

#include "tools/replay/ServiceOptions.h"
#include "tools/replay/Trace.h"

namespace geoloom::tools {

struct ReplayOptions {
  ServiceOptions service;  ///< applied before
  MapMode mode = MapMode::mapping;
  std::string map = "demo";
  std::vector<std::filesystem::path> recordings;  ///< one session goes through all of them
  std::filesystem::path place;                    ///< empty: nothing is placed
  /// As fast as it goes, each frame waiting for the one before, the recording's time driving the clock; else
  /// in real time.
  bool lockstep = false;
  ARRecordingOptions recording;
  double patience = 60;  ///< seconds to wait for the service: its opening, saves, a transform
};

/// Takes a session of the kit through recordings. `say` hears one line at a time for people to read, on any
/// thread. Throws CommandError where there is nothing to go on with; a localization session that found no
/// transform ends like any other, without relocalized assets. The session lives on until the process ends, as
/// sessions do.
[[nodiscard]] Trace replay(const ReplayOptions& options, const std::function<void(const std::string&)>& say);

/// The lines that end a replay.
[[nodiscard]] std::vector<std::string> summaryOf(const Trace& trace);

}  // namespace geoloom::tools
