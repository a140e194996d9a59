#include "localcloud/FilterExpression.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <string_view>

#include <fmt/format.h>

#include "localcloud/AttributeValue.h"
#include "localcloud/TableError.h"

namespace geoloom::localcloud {

namespace {

[[noreturn]] void refuse(const std::string& why) {
  throw TableError::validation("Invalid FilterExpression: " + why);
}

bool isWordCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '#' || c == ':';
}

std::vector<std::string> tokens(const std::string& text) {
  std::vector<std::string> result;
  for (std::size_t at = 0; at < text.size();) {
    const char c = text[at];
    if (std::isspace(static_cast<unsigned char>(c)) != 0) {
      ++at;
      continue;
    }
    std::size_t end = at;
    while (end < text.size() && isWordCharacter(text[end])) ++end;
    if (end == at) end = at + 1;
    result.push_back(text.substr(at, end - at));
    at = end;
  }
  return result;
}

bool isAnd(std::string word) {
  std::transform(word.begin(), word.end(), word.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return word == "AND";
}

/// Resolves the placeholders of an expression and finds unused ones.
class Placeholders {
 public:
  Placeholders(const Value& names, const Value& values) : names_(names), values_(values) {
    for (const Value* const object : {&names, &values}) {
      if (!object->is_null() && !object->is_object()) {
        throw TableError::serialization("Expression attribute names and values have to be objects");
      }
    }
  }

  std::string name(const std::string& token) {
    if (token.front() != '#') return token;
    used_.insert(token);
    if (!names_.contains(token)) {
      refuse("An expression attribute name used in the document path is not defined; attribute name: " +
             token);
    }
    const Value& name = names_.at(token);
    if (!name.is_string()) throw TableError::serialization("An expression attribute name must be text");
    return name.get<std::string>();
  }

  Value value(const std::string& token) {
    used_.insert(token);
    if (!values_.contains(token)) {
      refuse("An expression attribute value used in expression is not defined; attribute value: " + token);
    }
    Value value = values_.at(token);
    attributes::canonicalize(value);
    return value;
  }

  void refuseUnused() const {
    for (const auto& [what, object] : {std::pair("Names", &names_), std::pair("Values", &values_)}) {
      for (const auto& [token, ignored] : object->items()) {
        if (!used_.contains(token)) {
          throw TableError::validation(fmt::format(
              "Value provided in ExpressionAttribute{} unused in expressions: keys: {{{}}}", what, token));
        }
      }
    }
  }

 private:
  const Value& names_;
  const Value& values_;
  std::set<std::string> used_;
};

}  // namespace

FilterExpression::FilterExpression(const std::string& text, const Value& names, const Value& values) {
  const std::vector<std::string> words = tokens(text);
  if (words.empty()) refuse("The expression can not be empty;");
  Placeholders placeholders(names, values);
  const auto supported = [&](std::size_t at) {
    if (at + 3 > words.size() || words[at + 1] != "=") return false;
    const bool nameFirst = words[at].front() != ':';
    const std::string& name = words[nameFirst ? at : at + 2];
    return words[nameFirst ? at + 2 : at].front() == ':' && name.front() != ':' &&
           isWordCharacter(name.front());
  };
  for (std::size_t at = 0;; at += 4) {
    if (!supported(at)) {
      refuse(fmt::format(
          "only comparisons of the form name = :value, joined by AND, are supported; expression: {}", text));
    }
    const bool nameFirst = words[at].front() != ':';
    equalities_.emplace_back(placeholders.name(words[nameFirst ? at : at + 2]),
                             placeholders.value(words[nameFirst ? at + 2 : at]));
    if (at + 3 == words.size()) break;
    if (!isAnd(words[at + 3])) {
      refuse(fmt::format("only AND may join comparisons; token: {}", words[at + 3]));
    }
  }
  placeholders.refuseUnused();
}

bool FilterExpression::matches(const Value& attributes) const {
  return std::all_of(equalities_.begin(), equalities_.end(), [&](const auto& equality) {
    const auto found = attributes.find(equality.first);
    return found != attributes.end() && *found == equality.second;
  });
}

const Value* FilterExpression::required(const std::string& attribute) const {
  const auto found = std::find_if(equalities_.begin(), equalities_.end(),
                                  [&](const auto& equality) { return equality.first == attribute; });
  return found == equalities_.end() ? nullptr : &found->second;
}

}  // namespace geoloom::localcloud
