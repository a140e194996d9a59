#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "geoloom/platform/foundation/JSON.h"

namespace geoloom::platform {

/// One attribute in wire format. Numbers are text, so that a key is returned exactly as received.
struct AWSDynamoDBAttributeValue {
  enum class Type { text, number, binary };
  Type type = Type::text;
  std::string value;

  static AWSDynamoDBAttributeValue text(std::string value);
  static AWSDynamoDBAttributeValue number(std::string value);

  friend bool operator==(const AWSDynamoDBAttributeValue&, const AWSDynamoDBAttributeValue&) = default;
};

using AWSDynamoDBAttributes = std::map<std::string, AWSDynamoDBAttributeValue>;

/// The attribute of a row's property: a String for text, a Number for numbers and Booleans ("1", "0"), in the
/// shortest text that reads back to the same value, integers without a fraction. Absent for absent properties
/// and for numbers that are not finite, which the table service does not support.
[[nodiscard]] std::optional<AWSDynamoDBAttributeValue> toAttribute(const std::optional<std::string>& value);
[[nodiscard]] std::optional<AWSDynamoDBAttributeValue> toAttribute(const std::optional<std::int64_t>& value);
[[nodiscard]] std::optional<AWSDynamoDBAttributeValue> toAttribute(const std::optional<float>& value);
[[nodiscard]] std::optional<AWSDynamoDBAttributeValue> toAttribute(const std::optional<double>& value);
[[nodiscard]] std::optional<AWSDynamoDBAttributeValue> toAttribute(const std::optional<bool>& value);

/// Sets the property from an item's attribute `name`; absent if the attribute is missing, of another type or
/// not readable.
void fromItem(const JSON& item, std::string_view name, std::optional<std::string>& property);
void fromItem(const JSON& item, std::string_view name, std::optional<float>& property);
void fromItem(const JSON& item, std::string_view name, std::optional<double>& property);

}  // namespace geoloom::platform
