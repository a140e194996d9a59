#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "geoloom/platform/aws/AWSDynamoDBObjectModel.h"

namespace geoloom {

/// A row of the table of transforms, the mapping service's results of localizing sessions; only read.
struct TransformRow : platform::AWSDynamoDBObjectModel {
  /// UUID of the map that was matched.
  std::optional<std::string> SessionId;
  std::optional<double> Timestamp;
  /// Number of matched features; larger is better.
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

/// True if the row has a transform and a count that is a number.
[[nodiscard]] bool isUsable(const TransformRow& row);

/// True if `row` has more matches than `other`, or as many and a larger match value. A match value that is
/// absent, unreadable or "nan" ranks below every number. Precondition: both are usable.
[[nodiscard]] bool isBetter(const TransformRow& row, const TransformRow& other);

/// One line for the console.
[[nodiscard]] std::string description(const TransformRow& row);

}  // namespace geoloom
