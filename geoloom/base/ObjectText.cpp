#include "geoloom/base/ObjectText.h"

#include <nlohmann/json.hpp>

namespace geoloom::base {

namespace {

void appendString(std::string& json, std::string_view text) {
  json += nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void appendName(std::string& json, std::string_view name) {
  if (json.size() > 1) json += ',';
  appendString(json, name);
  json += ':';
}

}  // namespace

ObjectText& ObjectText::add(std::string_view name, std::string_view text) {
  appendName(text_, name);
  appendString(text_, text);
  return *this;
}

ObjectText& ObjectText::addJSON(std::string_view name, std::string_view json) {
  appendName(text_, name);
  text_ += json;
  return *this;
}

}  // namespace geoloom::base
