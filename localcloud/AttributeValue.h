#pragma once

#include <optional>
#include <string>

#include "localcloud/Tables.h"
#include "localcloud/Text.h"

/// Attribute values in the table protocol's JSON form, {"S": "text"}. All operations throw TableError.
namespace geoloom::localcloud::attributes {

/// Checks one value and converts it to the form for answers and comparisons: numbers canonical, sets sorted.
void canonicalize(Value& value);

/// The same for each attribute of an object; `parameter` is its name in the request.
void canonicalizeAll(Value& attributes, const std::string& parameter);

/// The key of an item, taken from its canonical attributes.
[[nodiscard]] ItemKey keyOfItem(const TableRecord& table, const Value& attributes);

/// The key in a request, which must contain the key attributes and nothing else.
[[nodiscard]] ItemKey keyOfRequest(const TableRecord& table, const Value& attributes);

/// The hash key of the items whose hash attribute has a canonical value; absent if no item can have it.
[[nodiscard]] std::optional<std::string> hashKey(const TableRecord& table, const Value& value);

/// The key attributes of an item.
[[nodiscard]] Body keyAttributes(const TableRecord& table, const Value& attributes);

}  // namespace geoloom::localcloud::attributes
