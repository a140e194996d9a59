#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "geoloom/Export.h"
#include "geoloom/platform/foundation/JSON.h"

namespace geoloom::platform {

/// One attribute as it stands on the wire. Numbers are text, so that a key goes back exactly as it came.
struct GEOLOOM_EXPORT AWSDynamoDBAttributeValue {
  enum class Type { text, number, binary };
  Type type = Type::text;
  std::string value;

  static AWSDynamoDBAttributeValue text(std::string value);
  static AWSDynamoDBAttributeValue number(std::string value);

  friend bool operator==(const AWSDynamoDBAttributeValue&, const AWSDynamoDBAttributeValue&) = default;
};

using AWSDynamoDBAttributes = std::map<std::string, AWSDynamoDBAttributeValue>;

/// What a property of a row becomes on the wire: text a String, numbers and Booleans ("1", "0") a Number in
/// the shortest text that reads back to the same value, integers without a fraction. Absent properties stay
/// absent, and so do numbers that are not finite: the table service knows none. Text that is not UTF-8 is
/// mended with U+FFFD.
[[nodiscard]] GEOLOOM_EXPORT std::optional<AWSDynamoDBAttributeValue> toAttribute(
    const std::optional<std::string>& value);
[[nodiscard]] GEOLOOM_EXPORT std::optional<AWSDynamoDBAttributeValue> toAttribute(
    const std::optional<std::int64_t>& value);
[[nodiscard]] GEOLOOM_EXPORT std::optional<AWSDynamoDBAttributeValue> toAttribute(
    const std::optional<float>& value);
[[nodiscard]] GEOLOOM_EXPORT std::optional<AWSDynamoDBAttributeValue> toAttribute(
    const std::optional<double>& value);
[[nodiscard]] GEOLOOM_EXPORT std::optional<AWSDynamoDBAttributeValue> toAttribute(
    const std::optional<bool>& value);

/// The reverse: sets the property from an item's attribute `name`. An attribute that is missing, of another
/// type or not readable leaves the property absent.
GEOLOOM_EXPORT void fromItem(const JSON& item, std::string_view name, std::optional<std::string>& property);
GEOLOOM_EXPORT void fromItem(const JSON& item, std::string_view name, std::optional<std::int64_t>& property);
GEOLOOM_EXPORT void fromItem(const JSON& item, std::string_view name, std::optional<float>& property);
GEOLOOM_EXPORT void fromItem(const JSON& item, std::string_view name, std::optional<double>& property);
GEOLOOM_EXPORT void fromItem(const JSON& item, std::string_view name, std::optional<bool>& property);

}  // namespace geoloom::platform
