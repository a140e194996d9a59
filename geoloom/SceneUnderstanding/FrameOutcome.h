#pragma once

#include <chrono>
#include <optional>

#include "geoloom/base/Result.h"

namespace geoloom {

class SemanticNetwork;

/// The result of analysing one frame.
struct FrameOutcome {
  /// Why the frame was not analysed; absent if it was.
  std::optional<base::Failure> failure;
  /// Duration of the vision request.
  std::chrono::steady_clock::duration vision{};
  /// Duration of the steps after it: decoding, locating, tracking, the callback.
  std::chrono::steady_clock::duration handling{};
  /// The objects tracked after this frame; valid for the duration of the observer's call.
  const SemanticNetwork* tracked = nullptr;
};

}  // namespace geoloom
