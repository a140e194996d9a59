#pragma once

#include <cmath>
#include <concepts>
#include <string>
#include <string_view>

#include "geoloom/base/Text.h"

namespace geoloom::base {

/// A JSON object, written as it is filled, in the order given: the bodies of requests are small and many, so
/// a document for each would be most of the work. Names and texts that are not UTF-8 get U+FFFD for what is
/// not.
class ObjectText {
 public:
  ObjectText& add(std::string_view name, std::string_view text);

  /// The shortest text of the number, for floats too (a JSON library may widen them first); null for one that
  /// is not finite.
  template <std::floating_point Number>
  ObjectText& add(std::string_view name, Number number) {
    return addJSON(name, std::isfinite(number) ? base::text(number) : "null");
  }

  /// `json` is written as it stands.
  ObjectText& addJSON(std::string_view name, std::string_view json);

  [[nodiscard]] std::string text() const { return text_ + '}'; }

 private:
  std::string text_ = "{";
};

}  // namespace geoloom::base
