#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "geoloom/base/Result.h"
#include "geoloom/platform/foundation/JSON.h"

namespace geoloom::tools {

/// Larger JSON files are rejected.
constexpr std::uint64_t maximumJSONBytes = std::uint64_t{1} << 30;

/// A fault of a file; readJSON converts it to a failure.
class MalformedJSON : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A value of a file together with its path, so that a message can say "boards[2].at must be a list". Reading
/// an absent value or one of another type throws MalformedJSON.
class JSONMember {
 public:
  JSONMember(std::optional<platform::JSON> value, std::string path)
      : value_(std::move(value)), path_(std::move(path)) {}

  [[nodiscard]] JSONMember operator[](const char* key) const {
    return {value_ ? (*value_)[key] : std::nullopt, path_.empty() ? key : fmt::format("{}.{}", path_, key)};
  }
  [[nodiscard]] bool isPresent() const { return value_.has_value(); }
  [[nodiscard]] bool isNull() const { return value_ && value_->type() == platform::JSON::Type::null; }
  [[nodiscard]] bool isString() const { return value_ && value_->type() == platform::JSON::Type::string; }
  [[nodiscard]] const std::string& path() const { return path_; }
  /// The same value with another path in messages.
  [[nodiscard]] JSONMember withPath(std::string path) const { return {value_, std::move(path)}; }

  [[nodiscard]] std::string string() const {
    return need(value_ ? value_->string() : std::nullopt, "a text");
  }
  [[nodiscard]] double number() const { return need(value_ ? value_->number() : std::nullopt, "a number"); }
  [[nodiscard]] double number(double absent) const { return isPresent() ? number() : absent; }
  [[nodiscard]] bool boolean() const {
    return need(value_ ? value_->boolean() : std::nullopt, "true or false");
  }
  [[nodiscard]] double positive() const {
    const double n = number();
    if (!(n > 0)) throw MalformedJSON(path_ + " must be above 0");
    return n;
  }
  [[nodiscard]] std::vector<JSONMember> list() const {
    if (!value_ || value_->type() != platform::JSON::Type::array)
      throw MalformedJSON(path_ + " must be a list");
    std::vector<JSONMember> members;
    value_->forEach([&](const platform::JSON& element) {
      members.emplace_back(element, fmt::format("{}[{}]", path_, members.size()));
    });
    return members;
  }

 private:
  template <class T>
  [[nodiscard]] T need(std::optional<T> read, const char* what) const {
    if (!read) throw MalformedJSON(fmt::format("{} must be {}", path_, what));
    return *std::move(read);
  }

  std::optional<platform::JSON> value_;
  std::string path_;
};

/// Calls `read` with the top-level value of the text; a failure begins with `name`.
template <class T, class Read>
[[nodiscard]] base::Result<T> readJSON(std::string_view text, const std::string& name, const Read& read) {
  const std::optional<platform::JSON> value = platform::JSON::parse(text);
  if (!value) return base::Failure{name + ": is not JSON"};
  try {
    return T(read(JSONMember(value, "")));
  } catch (const MalformedJSON& what) {
    return base::Failure{fmt::format("{}: {}", name, what.what())};
  }
}

}  // namespace geoloom::tools
