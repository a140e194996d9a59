#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "geoloom/session/SessionObserver.h"
#include "geoloom/session/types/DetectedObject.h"
#include "geoloom/session/types/MapMode.h"

namespace geoloom {

/// One batch of detected objects and the key of its rows.
struct DetectionBatch {
  std::string sessionID;
  std::int64_t frameID = 0;
  MapMode mode = MapMode::mapping;
  std::vector<std::shared_ptr<DetectedObject>> objects;
};

/// Saves the objects whose confidence is at least `threshold` as rows of the table of detected objects and
/// prints a console line for each. Returns at once. All rows of a batch have the same key, so each replaces
/// the previous one; they are saved one after the other, in list order. Batches do not wait for each other.
void saveDetections(DetectionBatch batch, float threshold, const std::shared_ptr<SessionObserver>& observer);

}  // namespace geoloom
