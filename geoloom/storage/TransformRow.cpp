#include "geoloom/storage/TransformRow.h"

#include <cmath>

#include <fmt/format.h>

#include "geoloom/base/Text.h"

namespace geoloom {
namespace {

bool takesPart(const TransformRow& row) {
  return row.MatchCount && !std::isnan(*row.MatchCount) && row.Transform.has_value();
}

// An absent optional compares below every present one.
std::optional<float> matchValue(const TransformRow& row) {
  if (!row.MatchValue) return std::nullopt;
  return base::strictFloat(*row.MatchValue);
}

}  // namespace

const TransformRow* bestRow(const std::vector<TransformRow>& rows) {
  const TransformRow* best = nullptr;
  for (const TransformRow& row : rows) {
    if (!takesPart(row)) continue;
    const bool better = best == nullptr || *row.MatchCount > *best->MatchCount ||
                        (*row.MatchCount == *best->MatchCount && matchValue(row) > matchValue(*best));
    if (better) best = &row;
  }
  return best;
}

std::string description(const TransformRow& row) {
  const auto number = [](const auto& value) { return value ? base::text(*value) : std::string("nil"); };
  return fmt::format(
      "TransformRow(SessionId: {}, Timestamp: {}, MatchCount: {}, MatchValue: {}, Transform: {})",
      row.SessionId.value_or("nil"), number(row.Timestamp), number(row.MatchCount),
      row.MatchValue.value_or("nil"), row.Transform.value_or("nil"));
}

}  // namespace geoloom
