#pragma once

namespace geoloom {

/// The detector's answer to an offered frame.
enum class FrameOffer {
  still,  ///< not analysed: the camera has hardly moved
  busy,   ///< dropped: another frame is queued or being analysed
  taken,  ///< queued for analysis; a FrameOutcome follows
};

}  // namespace geoloom
