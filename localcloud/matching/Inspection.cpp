#include "localcloud/matching/Inspection.h"

#include <algorithm>
#include <bit>
#include <numeric>
#include <utility>

namespace geoloom::localcloud {

namespace {

// Sets of two and three are searched among this many objects, the distinct and well-seen ones.
constexpr std::size_t SEARCHED_OBJECTS = 12;

/// Localizes sessions that see some of the map's objects where the map has them.
class Visits {
 public:
  Visits(const std::vector<Landmark>& map, const std::vector<Point>& places, double distance)
      : map_(map), places_(places), distance_(distance) {}

  [[nodiscard]] Localization seeing(const std::vector<std::size_t>& objects) const {
    std::vector<Landmark> seen;
    seen.reserve(objects.size());
    for (const std::size_t object : objects) seen.push_back(map_[object]);
    return localize(map_, std::move(seen), places_, distance_);
  }
  [[nodiscard]] bool suffices(const std::vector<std::size_t>& objects) const {
    return seeing(objects).accepted();
  }

 private:
  const std::vector<Landmark>& map_;
  const std::vector<Point>& places_;
  double distance_;
};

std::vector<std::size_t> smallestSet(const Visits& visits, const std::vector<std::size_t>& order) {
  const std::size_t searched = std::min(order.size(), SEARCHED_OBJECTS);
  for (std::size_t a = 0; a < searched; ++a) {
    for (std::size_t b = 0; b < a; ++b) {
      if (visits.suffices({order[b], order[a]})) return {order[b], order[a]};
    }
  }
  for (std::size_t a = 0; a < searched; ++a) {
    for (std::size_t b = 0; b < a; ++b) {
      for (std::size_t c = 0; c < b; ++c) {
        if (visits.suffices({order[c], order[b], order[a]})) return {order[c], order[b], order[a]};
      }
    }
  }
  std::vector<std::size_t> set;
  for (const std::size_t object : order) {
    set.push_back(object);
    if (set.size() > 3 && std::has_single_bit(set.size()) && visits.suffices(set)) break;
  }
  return set;
}

}  // namespace

Inspection inspect(const std::vector<Landmark>& map, const std::vector<Point>& places, double distance) {
  Inspection result{.objects = map, .isAmbiguous = {}, .expected = {}, .smallestSet = {}};
  for (const Landmark& object : map) {
    result.isAmbiguous.push_back(std::count_if(map.begin(), map.end(), [&](const Landmark& other) {
                                   return other.name() == object.name();
                                 }) > 1);
  }
  std::vector<std::size_t> order(map.size());
  std::iota(order.begin(), order.end(), 0U);
  std::stable_partition(order.begin(), order.end(), [&](std::size_t i) { return !result.isAmbiguous[i]; });
  const Visits visits(map, places, distance);
  result.expected = visits.seeing(order);
  if (result.expected.accepted()) result.smallestSet = smallestSet(visits, order);
  return result;
}

}  // namespace geoloom::localcloud
