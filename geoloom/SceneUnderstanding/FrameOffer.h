#pragma once

namespace geoloom {

/// What the detector does with a frame that it is offered.
enum class FrameOffer {
  still,  ///< not analysed: the camera has hardly moved
  busy,   ///< dropped: another frame is queued or being analysed
  taken,  ///< queued for analysis; a FrameOutcome follows
};

}  // namespace geoloom
