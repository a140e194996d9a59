#include "localcloud/MapLandmarks.h"

#include "localcloud/Sightings.h"

namespace geoloom::localcloud {

namespace {

// Maps in use at one time; at most about 30 KB each.
constexpr std::size_t MAXIMUM_MAPS = 256;

}  // namespace

std::shared_ptr<const std::vector<Landmark>> MapLandmarks::of(Store& store, const std::string& map) {
  std::uint64_t search = 0;
  {
    const base::MutexLock lock(mutex_);
    const auto known = known_.find(map);
    if (known != known_.end()) return known->second;
    searches_[map] = search = ++lastSearch_;
  }
  const auto seen = store.read([&](Database& database) { return sightings::of(database, map); });
  auto landmarks = std::make_shared<const std::vector<Landmark>>(findLandmarks(seen, Age::ignored));
  const base::MutexLock lock(mutex_);
  const auto latest = searches_.find(map);
  // A sighting of the map that was stored meanwhile may be missing from these.
  if (latest == searches_.end() || latest->second != search) return landmarks;
  searches_.erase(latest);
  if (known_.size() >= MAXIMUM_MAPS) known_.clear();
  known_[map] = landmarks;
  return landmarks;
}

void MapLandmarks::forget(const std::string& map) {
  const base::MutexLock lock(mutex_);
  searches_.erase(map);
  known_.erase(map);
}

}  // namespace geoloom::localcloud
