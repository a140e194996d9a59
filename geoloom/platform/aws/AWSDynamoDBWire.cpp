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
using Kind = AWSError::Kind;

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

AWSError malformed(std::string_view what) {
  return {Kind::transport, fmt::format("The answer is not a page of a table: {}", what)};
}

/// What an error body says, wherever it says it.
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
    // The first tag of that name may carry a name space; then the closing one is found.
    const std::size_t end = body.find("Exception>");
    const std::size_t begin = end == std::string_view::npos ? end : body.find_last_of("</", end);
    if (begin != std::string_view::npos) result.type = body.substr(begin + 1, end + 8 - begin);
  }
  return result;
}

/// Service texts go to a console line by line.
std::string oneLine(std::string text) {
  constexpr std::size_t longest = 500;
  if (text.size() > longest) text.resize(longest);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return (c >= 0 && c < ' ') || c == '\x7f'; }, ' ');
  return base::validUTF8(text);
}

Kind kindOf(int status, std::string_view type) {
  constexpr std::array<std::string_view, 7> throttlings{"ProvisionedThroughputExceededException",
                                                        "ThrottlingException",
                                                        "Throttling",
                                                        "ThrottledException",
                                                        "RequestLimitExceeded",
                                                        "TooManyRequestsException",
                                                        "SlowDown"};
  constexpr int requestTimeout = 408;
  constexpr int tooManyRequests = 429;
  if (status == tooManyRequests ||
      std::find(throttlings.begin(), throttlings.end(), type) != throttlings.end())
    return Kind::throttling;
  if (status >= 500) return Kind::unavailable;
  return status >= 400 && status != requestTimeout ? Kind::rejected : Kind::transport;
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

AWSResult<AWSDynamoDBPage<JSON>> readPage(std::string_view body) {
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

std::optional<AWSError> readSaved(std::string_view body) {
  const std::optional<JSON> answer = JSON::parse(body);
  if (answer && answer->type() == JSON::Type::object) return std::nullopt;
  return AWSError{Kind::transport, "The answer is not the table service's: it is not a JSON object"};
}

std::optional<AWSError> readError(int status, std::string_view body) {
  if (status == 200) return std::nullopt;
  const std::optional<JSON> json = JSON::parse(body);
  const ErrorText text = json ? readJSONError(*json) : readXMLError(body);
  std::string description = text.type;
  if (!text.message.empty()) description += (description.empty() ? "" : ": ") + text.message;
  return AWSError{kindOf(status, text.type),
                  fmt::format("{}{}HTTP {}{}", oneLine(description), description.empty() ? "" : " (", status,
                              description.empty() ? "" : ")")};
}

}  // namespace geoloom::platform::dynamodb
