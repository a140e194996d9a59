#pragma once

#include <concepts>
#include <string_view>
#include <tuple>
#include <utility>

#include "geoloom/platform/aws/AWSDynamoDBAttributeValue.h"

namespace geoloom::platform {

/// One property of a row type and the attribute of the same name.
template <class Row, class Property>
struct AWSDynamoDBAttribute {
  std::string_view name;
  std::optional<Property> Row::*property;
};
template <class Row, class Property>
AWSDynamoDBAttribute(std::string_view, std::optional<Property> Row::*) -> AWSDynamoDBAttribute<Row, Property>;

/// Base of the row types of cloud tables. A row type is a plain value whose properties are optional texts,
/// numbers and Booleans. It names its table and its properties:
///
///   struct Reading : AWSDynamoDBObjectModel {
///     std::optional<std::string> Sensor;
///     std::optional<double> Value;
///     static constexpr std::string_view dynamoDBTableName() { return "Readings"; }
///     static constexpr std::string_view hashKeyAttribute() { return "Sensor"; }
///     static constexpr std::string_view rangeKeyAttribute() { return "Value"; }
///     static constexpr auto attributes() {
///       return std::tuple{AWSDynamoDBAttribute{"Sensor", &Reading::Sensor},
///                         AWSDynamoDBAttribute{"Value", &Reading::Value}};
///     }
///   };
///
/// A row type needs a default constructor to be scanned; a type without one can only be saved.
struct AWSDynamoDBObjectModel {};

template <class Row>
concept AWSDynamoDBModeling = std::derived_from<Row, AWSDynamoDBObjectModel> && requires {
  { Row::dynamoDBTableName() } -> std::convertible_to<std::string_view>;
  { Row::hashKeyAttribute() } -> std::convertible_to<std::string_view>;
  { Row::rangeKeyAttribute() } -> std::convertible_to<std::string_view>;
  Row::attributes();
};

/// The attributes of a row that are present.
template <AWSDynamoDBModeling Row>
[[nodiscard]] AWSDynamoDBAttributes toAttributes(const Row& row) {
  AWSDynamoDBAttributes result;
  const auto add = [&](const auto& attribute) {
    if (auto value = toAttribute(row.*attribute.property)) result.emplace(attribute.name, std::move(*value));
  };
  std::apply([&](const auto&... attribute) { (add(attribute), ...); }, Row::attributes());
  return result;
}

/// The row of an item of the table.
template <AWSDynamoDBModeling Row>
[[nodiscard]] Row fromItem(const JSON& item) {
  Row row;
  std::apply(
      [&](const auto&... attribute) { (fromItem(item, attribute.name, row.*attribute.property), ...); },
      Row::attributes());
  return row;
}

}  // namespace geoloom::platform
