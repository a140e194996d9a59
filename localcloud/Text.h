#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

/// Bodies and identifiers. Not included from other headers: it brings the JSON library in.
namespace geoloom::localcloud {

/// What is read: members sorted by key, so that a body of a million keys costs no more than it should.
using Value = nlohmann::json;
/// What is written: members in the order given.
using Body = nlohmann::ordered_json;

/// Bodies nested deeper than this are refused.
constexpr int MAXIMUM_NESTING = 64;

/// What a body holds: any JSON value, or nothing and one line that says why.
struct Reading {
  std::optional<Value> value = {};
  std::string refusal = {};
};

/// The text has to be JSON in UTF-8, nested no deeper than is allowed.
[[nodiscard]] Reading readJSON(std::string_view text);

/// Compact text; a sequence that is not UTF-8 comes out as U+FFFD.
[[nodiscard]] std::string write(const Body& body);
[[nodiscard]] std::string write(const Value& value);

/// A random version 4 UUID in lower case.
[[nodiscard]] std::string randomUUID();

}  // namespace geoloom::localcloud
