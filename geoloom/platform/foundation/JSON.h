#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "geoloom/Export.h"

namespace geoloom::platform {

/// One parsed JSON value: an immutable view that shares its document, cheap to copy, readable from any
/// thread. Reading never throws: a missing value or one of another type is absent.
class GEOLOOM_EXPORT JSON {
 public:
  enum class Type { null, boolean, number, string, array, object };

  /// Texts with deeper nesting do not parse; an array or object without members is not counted.
  static constexpr std::size_t MAXIMUM_DEPTH = 256;
  /// Longer texts do not parse.
  static constexpr std::size_t MAXIMUM_BYTES = std::size_t{64} << 20;

  /// Parses any value, including top-level scalars; skips a leading byte-order mark. Absent if the text is
  /// not JSON, contains invalid UTF-8 or a number beyond the range of double. Integers may have any length.
  [[nodiscard]] static std::optional<JSON> parse(std::string_view text);

  [[nodiscard]] static JSON emptyArray();

  [[nodiscard]] Type type() const;

  /// True if this is an object with that key; the type of its value does not matter.
  [[nodiscard]] bool contains(std::string_view key) const;
  /// The member of an object (the first one of that name).
  [[nodiscard]] std::optional<JSON> operator[](std::string_view key) const;

  [[nodiscard]] std::optional<std::string> string() const;
  /// The string at `key` of an object.
  [[nodiscard]] std::optional<std::string> string(std::string_view key) const;
  /// The string at `inner` in the object at `outer`, without a copy: a view into the document, valid while
  /// any JSON value of this document lives.
  [[nodiscard]] std::optional<std::string_view> stringAt(std::string_view outer,
                                                         std::string_view inner) const;
  [[nodiscard]] std::optional<bool> boolean() const;
  /// Numbers only; a Boolean is not a number.
  [[nodiscard]] std::optional<double> number() const;
  /// The number at `key` of an object.
  [[nodiscard]] std::optional<double> number(std::string_view key) const;

  /// A string unchanged, a number or Boolean in its usual text form, the empty text for other types.
  [[nodiscard]] std::string stringValue() const;

  /// Number of elements of an array or members of an object; 0 for other types.
  [[nodiscard]] std::size_t size() const;

  /// Visits the elements of an array or the values of an object in document order; does nothing for other
  /// types.
  void forEach(const std::function<void(const JSON&)>& visit) const;
  /// The same for an object, with its keys.
  void forEachMember(const std::function<void(std::string_view key, const JSON&)>& visit) const;

  /// Compact JSON text of the value, in document order.
  [[nodiscard]] std::string description() const;

 private:
  struct Document;
  /// The value's position in the document's tape; the parser's own type, kept out of this header.
  using Element = std::array<std::size_t, 2>;
  JSON(std::shared_ptr<const Document> document, Element element);
  std::shared_ptr<const Document> document_;
  Element element_;
};

}  // namespace geoloom::platform
