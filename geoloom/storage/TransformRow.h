#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "geoloom/platform/aws/AWSDynamoDBObjectModel.h"

namespace geoloom {

/// A row of the table in which the mapping service reports where a session is in a map. Read only.
struct TransformRow : platform::AWSDynamoDBObjectModel {
  /// UUID of the map that was matched.
  std::optional<std::string> SessionId;
  std::optional<double> Timestamp;
  /// How many features matched; larger is better.
  std::optional<float> MatchCount;
  /// A number as text; larger is better.
  std::optional<std::string> MatchValue;
  /// From map to session coordinates: x, y, z in metres, then the rotation about the vertical axis in
  /// radians.
  std::optional<std::string> Transform;

  static constexpr std::string_view dynamoDBTableName() { return "Transformations"; }
  static constexpr std::string_view hashKeyAttribute() { return "SessionId"; }
  static constexpr std::string_view rangeKeyAttribute() { return "Timestamp"; }
  static constexpr auto attributes() {
    using platform::AWSDynamoDBAttribute;
    return std::tuple{AWSDynamoDBAttribute{"SessionId", &TransformRow::SessionId},
                      AWSDynamoDBAttribute{"Timestamp", &TransformRow::Timestamp},
                      AWSDynamoDBAttribute{"MatchCount", &TransformRow::MatchCount},
                      AWSDynamoDBAttribute{"MatchValue", &TransformRow::MatchValue},
                      AWSDynamoDBAttribute{"Transform", &TransformRow::Transform}};
  }
};

/// A usable row has a count that is a number and a transform.
[[nodiscard]] bool isUsable(const TransformRow& row);

/// Of two usable rows, whether `row` has more matches than `other`, or as many and a larger match value. A
/// match value that is absent, unreadable or "nan" is below every number.
[[nodiscard]] bool isBetter(const TransformRow& row, const TransformRow& other);

/// One line for the console.
[[nodiscard]] std::string description(const TransformRow& row);

}  // namespace geoloom
