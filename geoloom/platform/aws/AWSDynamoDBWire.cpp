#include "geoloom/platform/aws/AWSDynamoDBWire.h"

#include <algorithm>
#include <array>
#include <utility>

#include <fmt/format.h>

#include "geoloom/base/ObjectText.h"
#include "geoloom/base/Text.h"

namespace geoloom::platform::dynamodb {

namespace {

using Value = AWSDynamoDBAttributeValue;

constexpr std::array<std::pair<Value::Type, const char*>, 3> typeNames{
    {{Value::Type::text, "S"}, {Value::Type::number, "N"}, {Value::Type::binary, "B"}}};

std::string objectText(const AWSDynamoDBAttributes& attributes) {
  base::ObjectText object;
  for (const auto& [name, attribute] : attributes)
    for (const auto& [type, typeName] : typeNames)
      if (attribute.type == type)
        object.addJSON(name, base::ObjectText().add(typeName, attribute.value).text());
  return object.text();
}

std::string objectText(const std::map<std::string, std::string>& names) {
  base::ObjectText object;
  for (const auto& [name, value] : names) object.add(name, value);
  return object.text();
}

std::optional<Value> readKeyAttribute(const JSON& attribute) {
  for (const auto& [type, typeName] : typeNames)
    if (const std::optional<JSON> value = attribute[typeName])
      if (std::optional<std::string> text = value->string()) return Value{type, std::move(*text)};
  return std::nullopt;
}

base::Failure malformed(std::string_view what) {
  return {fmt::format("The answer is not a page of a table: {}", what)};
}

/// Type and message of an error body.
struct ErrorText {
  std::string type;
  std::string message;
};

ErrorText readJSONError(const JSON& body) {
  const auto text = [&body](const char* key) {
    const std::optional<JSON> value = body[key];
    return value ? value->string().value_or("") : std::string();
  };
  ErrorText result{text("__type"), text("message")};
  if (const std::size_t mark = result.type.rfind('#'); mark != std::string::npos)
    result.type.erase(0, mark + 1);
  if (result.message.empty()) result.message = text("Message");
  return result;
}

std::string between(std::string_view text, std::string_view open, std::string_view close) {
  const std::size_t begin = text.find(open);
  if (begin == std::string_view::npos) return {};
  const std::size_t end = text.find(close, begin + open.size());
  if (end == std::string_view::npos) return {};
  return std::string(text.substr(begin + open.size(), end - begin - open.size()));
}

/// <ErrorResponse><Error><Code>..</Code><Message>..</Message>.. or <SomeException><Message>..</Message>..
ErrorText readXMLError(std::string_view body) {
  ErrorText result{between(body, "<Code>", "</Code>"), between(body, "<Message>", "</Message>")};
  if (result.type.empty()) {
    // Matches the closing tag if the opening one carries attributes.
    const std::size_t end = body.find("Exception>");
    const std::size_t begin = end == std::string_view::npos ? end : body.find_last_of("</", end);
    if (begin != std::string_view::npos) result.type = body.substr(begin + 1, end + 8 - begin);
  }
  return result;
}

/// One printable line of at most 500 bytes.
std::string oneLine(std::string text) {
  constexpr std::size_t longest = 500;
  if (text.size() > longest) text.resize(longest);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return (c >= 0 && c < ' ') || c == '\x7f'; }, ' ');
  return base::validUTF8(text);
}

}  // namespace

std::string scanBody(std::string_view table, const AWSDynamoDBScanExpression& expression) {
  base::ObjectText body;
  body.add("TableName", table);
  if (expression.limit) body.addJSON("Limit", std::to_string(*expression.limit));
  if (expression.filterExpression) body.add("FilterExpression", *expression.filterExpression);
  if (!expression.expressionAttributeNames.empty())
    body.addJSON("ExpressionAttributeNames", objectText(expression.expressionAttributeNames));
  if (!expression.expressionAttributeValues.empty())
    body.addJSON("ExpressionAttributeValues", objectText(expression.expressionAttributeValues));
  if (expression.exclusiveStartKey)
    body.addJSON("ExclusiveStartKey", objectText(*expression.exclusiveStartKey));
  return body.text();
}

std::string putItemBody(std::string_view table, const AWSDynamoDBAttributes& item) {
  return base::ObjectText().add("TableName", table).addJSON("Item", objectText(item)).text();
}

base::Result<AWSDynamoDBPage<JSON>> readPage(std::string_view body) {
  const std::optional<JSON> answer = JSON::parse(body);
  if (!answer || answer->type() != JSON::Type::object) return malformed("it is not a JSON object");
  AWSDynamoDBPage<JSON> page;
  if (const std::optional<JSON> items = (*answer)["Items"]) {
    if (items->type() != JSON::Type::array) return malformed("its items are not a list");
    items->forEach([&page](const JSON& item) {
      if (item.type() == JSON::Type::object) page.items.push_back(item);
    });
  }
  const std::optional<JSON> key = (*answer)["LastEvaluatedKey"];
  if (!key || key->type() == JSON::Type::null) return page;
  AWSDynamoDBAttributes attributes;
  bool readable = key->type() == JSON::Type::object;
  key->forEachMember([&](std::string_view name, const JSON& attribute) {
    std::optional<Value> value = readKeyAttribute(attribute);
    readable = readable && value;
    if (value) attributes.emplace(name, std::move(*value));
  });
  if (!readable) return malformed("its last key cannot be read");
  if (!attributes.empty()) page.lastEvaluatedKey = std::move(attributes);
  return page;
}

base::Result<void> readSaved(std::string_view body) {
  const std::optional<JSON> answer = JSON::parse(body);
  if (answer && answer->type() == JSON::Type::object) return {};
  return base::Failure{"The answer is not the table service's: it is not a JSON object"};
}

base::Result<void> readStatus(int status, std::string_view body) {
  if (status == 200) return {};
  const std::optional<JSON> json = JSON::parse(body);
  const ErrorText text = json ? readJSONError(*json) : readXMLError(body);
  std::string description = text.type;
  if (!text.message.empty()) description += (description.empty() ? "" : ": ") + text.message;
  if (description.empty()) return base::Failure{fmt::format("HTTP {}", status)};
  return base::Failure{fmt::format("{} (HTTP {})", oneLine(description), status)};
}

}  // namespace geoloom::platform::dynamodb
