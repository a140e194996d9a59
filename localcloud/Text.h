#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

/// Bodies and identifiers. Not included from other headers: it brings the JSON library in.
namespace geoloom::localcloud {

/// Parsed JSON. Members are sorted by key, so that lookups in a body of a million keys are fast.
using Value = nlohmann::json;
/// JSON to be written, with members in the order given.
using Body = nlohmann::ordered_json;

/// Bodies nested deeper than this are refused.
constexpr int MAXIMUM_NESTING = 64;

/// The JSON value of a body, or the reason why there is none.
struct Reading {
  std::optional<Value> value = {};
  std::string refusal = {};
};

/// Reads JSON in UTF-8, nested at most MAXIMUM_NESTING deep.
[[nodiscard]] Reading readJSON(std::string_view text);

/// Compact text; a sequence that is not UTF-8 becomes U+FFFD.
[[nodiscard]] std::string write(const Body& body);
[[nodiscard]] std::string write(const Value& value);

/// A random version 4 UUID in lower case.
[[nodiscard]] std::string randomUUID();

}  // namespace geoloom::localcloud
