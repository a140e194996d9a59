#pragma once

#include <string>
#include <utility>
#include <vector>

#include "localcloud/Text.h"

namespace geoloom::localcloud {

/// A scan's filter: comparisons "attribute = :value" joined by AND. An attribute is given by its name or by a
/// #placeholder.
class FilterExpression {
 public:
  /// `names` and `values` are the request's ExpressionAttributeNames and ExpressionAttributeValues, null if
  /// absent. Throws TableError if a name or value is missing, unused or malformed, or the expression has
  /// another form.
  FilterExpression(const std::string& text, const Value& names, const Value& values);

  [[nodiscard]] bool matches(const Value& attributes) const;

  /// The value that an attribute must have, or null if the filter does not compare it.
  [[nodiscard]] const Value* required(const std::string& attribute) const;

 private:
  std::vector<std::pair<std::string, Value>> equalities_;
};

}  // namespace geoloom::localcloud
