#pragma once

#include <cmath>
#include <concepts>
#include <string>
#include <string_view>

#include "geoloom/base/Text.h"

namespace geoloom::base {

/// Writes a JSON object directly as text, members in the order added. For small request bodies this is much
/// cheaper than building a document. Invalid UTF-8 is replaced by U+FFFD.
class ObjectText {
 public:
  ObjectText& add(std::string_view name, std::string_view text);

  /// The shortest text of the number, also for floats (a JSON library may widen them first); null if it is
  /// not finite.
  template <std::floating_point Number>
  ObjectText& add(std::string_view name, Number number) {
    return addJSON(name, std::isfinite(number) ? base::text(number) : "null");
  }

  /// `json` is written unchanged.
  ObjectText& addJSON(std::string_view name, std::string_view json);

  [[nodiscard]] std::string text() const { return text_ + '}'; }

 private:
  std::string text_ = "{";
};

}  // namespace geoloom::base
