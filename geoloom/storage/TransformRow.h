#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "geoloom/platform/aws/AWSDynamoDBObjectModel.h"

namespace geoloom {

/// A row of the table in which the mapping service says where a session sits in a map. Read only.
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

/// The row with the most matches; among those the one with the largest match value; among those the first.
/// Rows without a count or a transform do not take part. A match value that is not a number, or missing, is
/// below every number. The row lives in `rows`; nullptr when none takes part.
[[nodiscard]] const TransformRow* bestRow(const std::vector<TransformRow>& rows);

/// One line for the console.
[[nodiscard]] std::string description(const TransformRow& row);

}  // namespace geoloom
