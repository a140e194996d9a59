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
  /// Time the vision request took.
  std::chrono::steady_clock::duration vision{};
  /// Time it took to handle the request's results: decoding, locating, tracking, the callback.
  std::chrono::steady_clock::duration handling{};
  /// The objects tracked after this frame; valid for the duration of the observer's call.
  const SemanticNetwork* tracked = nullptr;
};

}  // namespace geoloom
