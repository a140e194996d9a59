#include "geoloom/storage/TransformRow.h"

#include <cmath>

#include <fmt/format.h>

#include "geoloom/base/Text.h"

namespace geoloom {
namespace {

// An absent optional compares below every present one.
std::optional<float> matchValue(const TransformRow& row) {
  const auto value = row.MatchValue ? base::strictFloat(*row.MatchValue) : std::nullopt;
  return value && std::isnan(*value) ? std::nullopt : value;
}

}  // namespace

bool isUsable(const TransformRow& row) {
  return row.MatchCount && !std::isnan(*row.MatchCount) && row.Transform;
}

bool isBetter(const TransformRow& row, const TransformRow& other) {
  if (*row.MatchCount != *other.MatchCount) return *row.MatchCount > *other.MatchCount;
  return matchValue(row) > matchValue(other);
}

std::string description(const TransformRow& row) {
  const auto number = [](const auto& value) { return value ? base::text(*value) : std::string("nil"); };
  return fmt::format(
      "TransformRow(SessionId: {}, Timestamp: {}, MatchCount: {}, MatchValue: {}, Transform: {})",
      row.SessionId.value_or("nil"), number(row.Timestamp), number(row.MatchCount),
      row.MatchValue.value_or("nil"), row.Transform.value_or("nil"));
}

}  // namespace geoloom
