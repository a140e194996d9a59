#include "geoloom/platform/aws/AWSDynamoDBWire.h"

#include <array>
#include <utility>

#include <fmt/format.h>

#include "geoloom/base/ObjectText.h"
#include "geoloom/base/PrintableText.h"

namespace geoloom::platform::dynamodb {

namespace {

using Value = AWSDynamoDBAttributeValue;

constexpr std::array<std::pair<Value::Type, const char*>, 3> TYPE_NAMES{
    {{Value::Type::text, "S"}, {Value::Type::number, "N"}, {Value::Type::binary, "B"}}};

std::string objectText(const AWSDynamoDBAttributes& attributes) {
  base::ObjectText object;
  for (const auto& [name, attribute] : attributes)
    for (const auto& [type, typeName] : TYPE_NAMES)
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
  for (const auto& [type, typeName] : TYPE_NAMES)
    if (const std::optional<JSON> value = attribute[typeName])
      if (std::optional<std::string> text = value->string()) return Value{type, std::move(*text)};
  return std::nullopt;
}

base::Failure malformed(std::string_view what) {
  return {fmt::format("The answer is not a page of a table: {}", what)};
}

/// "<type>: <message>" of an error body as far as they are known, else empty.
std::string errorText(const JSON& body) {
  std::string type = body.string("__type").value_or("");
  type.erase(0, type.rfind('#') + 1);
  const std::string message = body.string("message").value_or(body.string("Message").value_or(""));
  return type + (type.empty() || message.empty() ? "" : ": ") + message;
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
  constexpr std::size_t LONGEST = 500;
  const std::optional<JSON> json = JSON::parse(body);
  const std::string description = json ? errorText(*json).substr(0, LONGEST) : "";
  if (description.empty()) return base::Failure{fmt::format("HTTP {}", status)};
  return base::Failure{fmt::format("{} (HTTP {})", base::printable(description), status)};
}

}  // namespace geoloom::platform::dynamodb
