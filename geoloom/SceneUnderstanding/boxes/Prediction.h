#pragma once

#include <cstdint>

namespace geoloom {

/// A box in normalised coordinates of the network's square input: 0 is the top or left edge, 1 the bottom or
/// right edge. Not clipped: values outside [0, 1] occur.
struct BoundingBox2 {
  double yMin = 0;
  double xMin = 0;
  double yMax = 0;
  double xMax = 0;
  double imgHeight = 300;  ///< pixels of the network's input
  double imgWidth = 300;
  friend bool operator==(const BoundingBox2&, const BoundingBox2&) = default;
};

/// The network's raw regression outputs for one anchor: shifts of the centre and logarithmic scales.
struct AnchorEncoding {
  double ty = 0;
  double tx = 0;
  double th = 0;
  double tw = 0;
  friend bool operator==(const AnchorEncoding&, const AnchorEncoding&) = default;
};

/// A candidate detection: one anchor whose score for one class exceeds the threshold.
struct Prediction {
  std::int64_t index = 0;  ///< row of SSDAnchors::anchors()
  double score = 0;        ///< the raw logit
  BoundingBox2 anchor;
  AnchorEncoding anchorEncoding;
  std::int64_t detectedClass = 0;  ///< 1 to numClasses

  /// The anchor with its centre shifted by (ty, tx) / 10 anchor sizes and its size scaled by
  /// exp((th, tw) / 5).
  [[nodiscard]] BoundingBox2 decodeBoundingBox() const;

  friend bool operator==(const Prediction&, const Prediction&) = default;
};

}  // namespace geoloom
