#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

/// Bodies and identifiers. Do not include it in other headers, since it includes the JSON library.
namespace geoloom::localcloud {

/// Parsed JSON. Members are sorted by key, so that lookups in a body of a million keys are fast.
using Value = nlohmann::json;
/// JSON to be written, with members in the order given.
using Body = nlohmann::ordered_json;

/// Bodies with deeper nesting are rejected.
constexpr int MAXIMUM_NESTING = 64;

/// The JSON value of a body, or the reason why it cannot be read.
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
