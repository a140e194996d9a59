#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "geoloom/base/Mutex.h"

#include "localcloud/Store.h"
#include "localcloud/matching/Landmarks.h"

namespace geoloom::localcloud {

/// The landmarks of maps, kept because finding them among 10,000 sightings takes longer than all the rest of
/// a localization. Called from any thread.
class MapLandmarks {
 public:
  /// Throws DatabaseError.
  [[nodiscard]] std::shared_ptr<const std::vector<Landmark>> of(Store& store, const std::string& map);
  /// To be called after a sighting of the map was stored. Other names are ignored.
  void forget(const std::string& map);

 private:
  base::Mutex mutex_;
  std::map<std::string, std::shared_ptr<const std::vector<Landmark>>> known_ GEOLOOM_GUARDED_BY(mutex_);
  /// The last search that began for each map whose sightings have not changed since.
  std::map<std::string, std::uint64_t> searches_ GEOLOOM_GUARDED_BY(mutex_);
  std::uint64_t lastSearch_ GEOLOOM_GUARDED_BY(mutex_) = 0;
};

}  // namespace geoloom::localcloud
