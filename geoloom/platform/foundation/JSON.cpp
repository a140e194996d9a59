#include "geoloom/platform/foundation/JSON.h"

#include <algorithm>
#include <bit>
#include <utility>

#include <simdjson.h>

namespace geoloom::platform {

namespace {

namespace dom = simdjson::dom;

constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

/// The same text with an exponent after every integer that 64 bits may not hold, so that the parser reads it
/// as a floating-point number.
std::string withLongIntegersAsFloats(std::string_view text) {
  constexpr std::size_t SAFE_LENGTH = 18;
  std::string result;
  result.reserve(text.size() + 16);
  bool inString = false;
  for (std::size_t at = 0; at < text.size();) {
    const char c = text[at];
    if (inString && c == '\\' && at + 1 < text.size()) {
      result.append(text.substr(at, 2));
      at += 2;
      continue;
    }
    if (c == '"') inString = !inString;
    if (inString || !(isDigit(c) || c == '-')) {
      result.push_back(c);
      ++at;
      continue;
    }
    std::size_t end = at + 1;
    while (end < text.size() && isDigit(text[end])) ++end;
    const std::size_t tokenEnd = std::min(text.find_first_not_of("0123456789+-.eE", end), text.size());
    result.append(text.substr(at, tokenEnd - at));
    if (end == tokenEnd && end - at > SAFE_LENGTH) result.append("e0");
    at = tokenEnd;
  }
  return result;
}

}  // namespace

struct JSON::Document {
  dom::document tape;
};

namespace {

/// JSON keeps the bytes of the parser's element, which its header does not name.
dom::element elementOf(const std::array<std::size_t, 2>& bytes) {
  return std::bit_cast<dom::element>(bytes);
}

std::array<std::size_t, 2> bytesOf(dom::element element) {
  return std::bit_cast<std::array<std::size_t, 2>>(element);
}

}  // namespace

JSON::JSON(std::shared_ptr<const Document> document, Element element)
    : document_(std::move(document)), element_(element) {}

std::optional<JSON> JSON::parse(std::string_view text) {
  if (text.starts_with(BYTE_ORDER_MARK)) text.remove_prefix(BYTE_ORDER_MARK.size());
  if (text.size() > MAXIMUM_BYTES) return std::nullopt;
  dom::parser parser(MAXIMUM_BYTES);
  // The parser counts the document itself as a level.
  if (parser.allocate(text.size(), MAXIMUM_DEPTH + 1) != simdjson::SUCCESS) return std::nullopt;
  auto document = std::make_shared<Document>();
  dom::element root;
  simdjson::error_code error = parser.parse_into_document(document->tape, text.data(), text.size()).get(root);
  if (error == simdjson::NUMBER_ERROR) {
    const std::string rewritten = withLongIntegersAsFloats(text);
    if (parser.allocate(rewritten.size(), MAXIMUM_DEPTH + 1) != simdjson::SUCCESS) return std::nullopt;
    error = parser.parse_into_document(document->tape, rewritten.data(), rewritten.size()).get(root);
  }
  if (error != simdjson::SUCCESS) return std::nullopt;
  return JSON(std::move(document), bytesOf(root));
}

JSON JSON::emptyArray() {
  // Not destroyed: threads may use it until the process ends.
  static const JSON& value = *new JSON(*parse("[]"));
  return value;
}

JSON::Type JSON::type() const {
  switch (elementOf(element_).type()) {
    case dom::element_type::ARRAY:
      return Type::array;
    case dom::element_type::OBJECT:
      return Type::object;
    case dom::element_type::STRING:
      return Type::string;
    case dom::element_type::BOOL:
      return Type::boolean;
    case dom::element_type::NULL_VALUE:
      return Type::null;
    case dom::element_type::INT64:
    case dom::element_type::UINT64:
    case dom::element_type::DOUBLE:
      return Type::number;
  }
  return Type::null;
}

bool JSON::contains(std::string_view key) const {
  return operator[](key).has_value();
}

std::optional<JSON> JSON::operator[](std::string_view key) const {
  dom::object object;
  dom::element member;
  if (elementOf(element_).get(object) != simdjson::SUCCESS) return std::nullopt;
  if (object.at_key(key).get(member) != simdjson::SUCCESS) return std::nullopt;
  return JSON(document_, bytesOf(member));
}

std::optional<std::string> JSON::string() const {
  std::string_view value;
  if (elementOf(element_).get(value) != simdjson::SUCCESS) return std::nullopt;
  return std::string(value);
}

std::optional<std::string> JSON::string(std::string_view key) const {
  const std::optional<JSON> member = operator[](key);
  return member ? member->string() : std::nullopt;
}

std::optional<std::string_view> JSON::stringAt(std::string_view outer, std::string_view inner) const {
  std::string_view value;
  if (elementOf(element_).at_key(outer).at_key(inner).get(value) != simdjson::SUCCESS) return std::nullopt;
  return value;
}

std::optional<bool> JSON::boolean() const {
  bool value = false;
  if (elementOf(element_).get(value) != simdjson::SUCCESS) return std::nullopt;
  return value;
}

std::optional<double> JSON::number() const {
  double value = 0;
  if (elementOf(element_).get(value) != simdjson::SUCCESS) return std::nullopt;
  return value;
}

std::optional<double> JSON::number(std::string_view key) const {
  const std::optional<JSON> member = operator[](key);
  return member ? member->number() : std::nullopt;
}

std::string JSON::stringValue() const {
  switch (type()) {
    case Type::string:
      return *string();
    case Type::number:
    case Type::boolean:
      return description();
    case Type::null:
    case Type::array:
    case Type::object:
      break;
  }
  return {};
}

std::size_t JSON::size() const {
  std::size_t count = 0;
  forEach([&count](const JSON&) { ++count; });
  return count;
}

void JSON::forEach(const std::function<void(const JSON&)>& visit) const {
  dom::array array;
  if (elementOf(element_).get(array) == simdjson::SUCCESS) {
    for (const dom::element element : array) visit(JSON(document_, bytesOf(element)));
    return;
  }
  forEachMember([&visit](std::string_view, const JSON& value) { visit(value); });
}

void JSON::forEachMember(const std::function<void(std::string_view key, const JSON&)>& visit) const {
  dom::object object;
  if (elementOf(element_).get(object) != simdjson::SUCCESS) return;
  for (const dom::key_value_pair member : object) visit(member.key, JSON(document_, bytesOf(member.value)));
}

std::string JSON::description() const {
  return simdjson::minify(elementOf(element_));
}

}  // namespace geoloom::platform
