#include "localcloud/TableService.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <set>

#include <fmt/format.h>

#include "localcloud/AttributeValue.h"
#include "localcloud/FilterExpression.h"
#include "localcloud/Sightings.h"
#include "localcloud/TableError.h"
#include "localcloud/Tables.h"
#include "localcloud/Text.h"

namespace geoloom::localcloud {

namespace {

constexpr const char* CONTENT_TYPE = "application/x-amz-json-1.0";
constexpr std::size_t MAXIMUM_ITEM_BYTES = std::size_t{400} * 1024;
constexpr std::size_t MAXIMUM_PAGE_BYTES = std::size_t{1024} * 1024;

/// The parameters of one call.
class Parameters {
 public:
  explicit Parameters(const Value& body) : body_(body) {
    if (!body_.is_object()) throw TableError::serialization("The body must be an object");
  }

  /// Null if the parameter is absent or null.
  [[nodiscard]] const Value& operator[](const char* name) const {
    static const Value absent;
    const auto found = body_.find(name);
    return found == body_.end() ? absent : *found;
  }

  [[nodiscard]] std::optional<std::string> optionalText(const char* name) const {
    const Value& value = (*this)[name];
    if (value.is_null()) return std::nullopt;
    if (!value.is_string()) throw TableError::serialization(fmt::format("{} must be text", name));
    return value.get<std::string>();
  }
  [[nodiscard]] std::string text(const char* name) const {
    auto value = optionalText(name);
    if (!value) throw TableError::validation(missing(name));
    return *value;
  }
  [[nodiscard]] const Value& object(const char* name) const {
    const Value& value = (*this)[name];
    if (value.is_null()) throw TableError::validation(missing(name));
    if (!value.is_object()) throw TableError::serialization(fmt::format("{} must be an object", name));
    return value;
  }
  [[nodiscard]] const Value& array(const char* name) const {
    const Value& value = (*this)[name];
    if (value.is_null()) throw TableError::validation(missing(name));
    if (!value.is_array()) throw TableError::serialization(fmt::format("{} must be an array", name));
    return value;
  }

  [[nodiscard]] std::optional<std::int64_t> limit() const {
    const Value& value = (*this)["Limit"];
    if (value.is_null()) return std::nullopt;
    if (!value.is_number_integer()) throw TableError::serialization("Limit must be a whole number");
    constexpr std::uint64_t most = std::numeric_limits<std::int32_t>::max();
    const auto limit = value.is_number_unsigned()
                           ? static_cast<std::int64_t>(std::min(value.get<std::uint64_t>(), most))
                           : value.get<std::int64_t>();
    if (limit < 1) {
      throw TableError::validation(fmt::format(
          "1 validation error detected: Value '{}' at 'limit' failed to satisfy constraint: Member must "
          "have value greater than or equal to 1",
          limit));
    }
    return limit;
  }

  /// Rejects parameters that the real service supports but this one does not.
  void refuse(std::initializer_list<const char*> unsupported) const {
    for (const char* const name : unsupported) {
      if (!(*this)[name].is_null()) {
        throw TableError::validation(fmt::format("{} is not supported by the local cloud", name));
      }
    }
  }

 private:
  static std::string missing(const char* name) {
    std::string member(name);
    member.front() = static_cast<char>(member.front() - 'A' + 'a');
    return fmt::format(
        "1 validation error detected: Value null at '{}' failed to satisfy constraint: Member must not "
        "be null",
        member);
  }

  const Value& body_;
};

struct Context {
  Store& store;
  std::chrono::system_clock::time_point now;
  const TableService::SightingSaved& sightingSaved;
};

std::optional<TableRecord> tableNamed(const Context& context, const std::string& name) {
  return context.store.read([&](Database& database) { return tables::find(database, name); });
}

TableRecord tableOf(const Context& context, const Parameters& parameters) {
  auto table = tableNamed(context, parameters.text("TableName"));
  if (!table) throw TableError::resourceNotFound("Requested resource not found");
  return *table;
}

std::optional<Value> capacity(const Parameters& parameters, const TableRecord& table) {
  const auto wanted = parameters.optionalText("ReturnConsumedCapacity");
  if (!wanted || *wanted == "NONE") return std::nullopt;
  return Value{{"TableName", table.name}, {"CapacityUnits", 1.0}};
}

Body description(const TableRecord& table, std::int64_t items) {
  Body definitions = Body::array();
  Body schema = Body::array();
  const auto add = [&](const KeyAttribute& key, const char* kind) {
    definitions.push_back({{"AttributeName", key.name}, {"AttributeType", std::string(1, key.type)}});
    schema.push_back({{"AttributeName", key.name}, {"KeyType", kind}});
  };
  add(table.hash, "HASH");
  if (table.range) add(*table.range, "RANGE");
  return {{"AttributeDefinitions", std::move(definitions)},
          {"TableName", table.name},
          {"KeySchema", std::move(schema)},
          {"TableStatus", "ACTIVE"},
          {"CreationDateTime", table.created},
          {"ItemCount", items},
          {"TableArn", "arn:aws:dynamodb:local:000000000000:table/" + table.name},
          {"BillingModeSummary", {{"BillingMode", "PAY_PER_REQUEST"}}}};
}

void checkTableName(const std::string& name) {
  const bool allowed = std::all_of(name.begin(), name.end(), [](unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '.' || c == '-';
  });
  if (name.size() < 3 || name.size() > 255 || !allowed) {
    throw TableError::validation(
        "TableName must be at least 3 characters long and at most 255 characters long, of a-z, A-Z, 0-9, "
        "'_', '.' "
        "and '-'");
  }
}

KeyAttribute keyAttribute(const Parameters& element, const Value& definitions) {
  const std::string name = element.text("AttributeName");
  for (const Value& definition : definitions) {
    const Parameters attribute(definition);
    if (attribute.text("AttributeName") != name) continue;
    const std::string type = attribute.text("AttributeType");
    if (type != "S" && type != "N" && type != "B") {
      throw TableError::validation("AttributeType must be one of S, N and B");
    }
    return {.name = name, .type = type.front()};
  }
  throw TableError::validation(
      "One or more parameter values were invalid: Some index key attributes are not defined "
      "in AttributeDefinitions. Keys: [" +
      name + "]");
}

std::string createTable(const Context& context, const Parameters& parameters) {
  parameters.refuse({"GlobalSecondaryIndexes", "LocalSecondaryIndexes"});
  const std::string name = parameters.text("TableName");
  checkTableName(name);
  const Value& definitions = parameters.array("AttributeDefinitions");
  const Value& schema = parameters.array("KeySchema");
  if (schema.empty() || schema.size() > 2 || definitions.size() != schema.size()) {
    throw TableError::validation(
        "One or more parameter values were invalid: Number of attributes in KeySchema does not "
        "exactly match number of attributes defined in AttributeDefinitions");
  }
  static constexpr std::array KINDS = {"HASH", "RANGE"};
  std::vector<KeyAttribute> keys;
  for (const Value& value : schema) {
    const Parameters element(value);
    if (element.text("KeyType") != KINDS.at(keys.size())) {
      throw TableError::validation(
          "Invalid KeySchema: the first element must be the HASH key, a second the RANGE key");
    }
    keys.push_back(keyAttribute(element, definitions));
  }
  TableRecord table{
      .name = name, .hash = keys.front(), .range = {}, .created = secondsSince1970(context.now)};
  if (keys.size() == 2) table.range = keys.back();
  if (table.range && table.range->name == table.hash.name) {
    throw TableError::validation(
        "Both the Hash Key and the Range Key element in the KeySchema have the same name");
  }
  if (!context.store.write([&](Database& database) { return tables::create(database, table); }))
    throw TableError::resourceInUse("Table already exists: " + name);
  return write(Body{{"TableDescription", description(table, 0)}});
}

std::string describeTable(const Context& context, const Parameters& parameters) {
  const std::string name = parameters.text("TableName");
  const auto table = tableNamed(context, name);
  if (!table)
    throw TableError::resourceNotFound("Requested resource not found: Table: " + name + " not found");
  const auto items =
      context.store.read([&](Database& database) { return tables::itemCount(database, name); });
  return write(Body{{"Table", description(*table, items)}});
}

std::string listTables(const Context& context, const Parameters& parameters) {
  std::vector<std::string> names = context.store.read(tables::names);
  if (const auto start = parameters.optionalText("ExclusiveStartTableName")) {
    names.erase(names.begin(), std::upper_bound(names.begin(), names.end(), *start));
  }
  const auto limit = static_cast<std::size_t>(std::min<std::int64_t>(parameters.limit().value_or(100), 100));
  const bool more = names.size() > limit;
  if (more) names.resize(limit);
  Body answer = {{"TableNames", names}};
  if (more) answer["LastEvaluatedTableName"] = names.back();
  return write(answer);
}

std::string putItem(const Context& context, const Parameters& parameters) {
  parameters.refuse({"ConditionExpression", "Expected", "ConditionalOperator"});
  const std::string returned = parameters.optionalText("ReturnValues").value_or("NONE");
  if (returned != "NONE" && returned != "ALL_OLD") {
    throw TableError::validation("ReturnValues can only be ALL_OLD or NONE");
  }
  const TableRecord table = tableOf(context, parameters);
  Value attributes = parameters.object("Item");
  attributes::canonicalizeAll(attributes, "Item");
  ItemRecord item{.key = attributes::keyOfItem(table, attributes), .text = write(attributes)};
  if (item.text.size() > MAXIMUM_ITEM_BYTES) {
    throw TableError::validation("Item size has exceeded the maximum allowed size");
  }
  std::optional<Question> due;
  const auto old = context.store.write([&](Database& database) {
    auto replaced = tables::item(database, table.name, item.key);
    tables::put(database, table.name, item);
    if (table.name == tables::SCENE_UNDERSTANDING) {
      sightings::add(database, attributes);
      const double seen = sightings::timeOf(attributes).value_or(secondsSince1970(context.now));
      due = sessions::questionDue(database, item.key.hash, seen);
    }
    return replaced;
  });
  if (table.name == tables::SCENE_UNDERSTANDING) context.sightingSaved(item.key.hash, due);
  Body answer = Body::object();
  if (returned == "ALL_OLD" && old) answer["Attributes"] = Body::parse(*old);
  if (const auto units = capacity(parameters, table)) answer["ConsumedCapacity"] = *units;
  return write(answer);
}

std::string getItem(const Context& context, const Parameters& parameters) {
  parameters.refuse({"ProjectionExpression", "AttributesToGet"});
  const TableRecord table = tableOf(context, parameters);
  Value key = parameters.object("Key");
  attributes::canonicalizeAll(key, "Key");
  const ItemKey itemKey = attributes::keyOfRequest(table, key);
  const auto item =
      context.store.read([&](Database& database) { return tables::item(database, table.name, itemKey); });
  Body answer = Body::object();
  if (item) answer["Item"] = Body::parse(*item);
  if (const auto units = capacity(parameters, table)) answer["ConsumedCapacity"] = *units;
  return write(answer);
}

/// The answer to a scan. The stored texts of items are inserted without parsing.
struct Page {
  std::string items;
  std::int64_t count = 0;
  std::int64_t scanned = 0;
  std::size_t bytes = 0;
  std::string last;  ///< text of the last item evaluated
  bool full = false;
};

std::optional<FilterExpression> filterOf(const Parameters& parameters) {
  const auto expression = parameters.optionalText("FilterExpression");
  const Value& names = parameters["ExpressionAttributeNames"];
  const Value& values = parameters["ExpressionAttributeValues"];
  if (expression) return FilterExpression(*expression, names, values);
  if (!names.is_null() || !values.is_null()) {
    throw TableError::validation(fmt::format(
        "ExpressionAttribute{} can only be specified when using expressions: FilterExpression is null",
        names.is_null() ? "Values" : "Names"));
  }
  return std::nullopt;
}

std::optional<ItemKey> startKeyOf(const TableRecord& table, const Parameters& parameters) {
  if (parameters["ExclusiveStartKey"].is_null()) return std::nullopt;
  Value key = parameters.object("ExclusiveStartKey");
  attributes::canonicalizeAll(key, "ExclusiveStartKey");
  try {
    return attributes::keyOfRequest(table, key);
  } catch (const TableError&) {
    throw TableError::validation(
        "The provided starting key is invalid: The provided key element does not match the "
        "schema");
  }
}

std::string scan(const Context& context, const Parameters& parameters) {
  parameters.refuse({"ScanFilter", "ConditionalOperator", "ProjectionExpression", "AttributesToGet",
                     "IndexName", "Segment", "TotalSegments"});
  const std::string select = parameters.optionalText("Select").value_or("ALL_ATTRIBUTES");
  if (select != "ALL_ATTRIBUTES" && select != "COUNT") {
    throw TableError::validation("Select can only be ALL_ATTRIBUTES or COUNT");
  }
  const auto limit = parameters.limit();
  const auto filter = filterOf(parameters);
  const TableRecord table = tableOf(context, parameters);

  Page page;
  const auto after = startKeyOf(table, parameters);
  const auto evaluate = [&](ItemRecord item) {
    ++page.scanned;
    page.bytes += item.text.size();
    if (!filter || filter->matches(Value::parse(item.text))) {
      ++page.count;
      if (select != "COUNT") page.items.append(page.items.empty() ? "" : ",").append(item.text);
    }
    page.last = std::move(item.text);
    // Full even if no item follows: only the next page shows that.
    page.full = page.scanned == limit || page.bytes >= MAXIMUM_PAGE_BYTES;
    return !page.full;
  };
  const Value* const required = filter ? filter->required(table.hash.name) : nullptr;
  const auto hash = required != nullptr ? attributes::hashKey(table, *required) : std::nullopt;
  if (hash || required == nullptr)
    context.store.read(
        [&](Database& database) { tables::scan(database, table.name, hash, after, evaluate); });

  std::string answer = fmt::format(R"({{"Count":{},"ScannedCount":{})", page.count, page.scanned);
  if (select != "COUNT") answer.append(R"(,"Items":[)").append(page.items).append("]");
  if (page.full) {
    answer.append(R"(,"LastEvaluatedKey":)")
        .append(write(attributes::keyAttributes(table, Value::parse(page.last))));
  }
  if (const auto units = capacity(parameters, table))
    answer.append(R"(,"ConsumedCapacity":)").append(write(*units));
  return answer.append("}");
}

struct Operation {
  std::string_view name;
  std::string (*answer)(const Context&, const Parameters&);
};

constexpr std::array OPERATIONS = {
    Operation{"CreateTable", createTable}, Operation{"DescribeTable", describeTable},
    Operation{"ListTables", listTables},   Operation{"PutItem", putItem},
    Operation{"GetItem", getItem},         Operation{"Scan", scan},
};

}  // namespace

Answer TableService::error(int status, std::string_view type, std::string_view message) {
  return {.status = status,
          .contentType = CONTENT_TYPE,
          .body = write(Body{{"__type", type}, {"message", message}}),
          .headers = {{"x-amzn-RequestId", randomUUID()}}};
}

Answer TableService::answer(std::string_view operation, const std::string& body) const {
  try {
    const auto* const found =
        std::find_if(OPERATIONS.begin(), OPERATIONS.end(),
                     [&](const Operation& candidate) { return candidate.name == operation; });
    if (found == OPERATIONS.end()) {
      throw TableError::unknownOperation(fmt::format("{} is not supported by the local cloud", operation));
    }
    const auto [value, why] = readJSON(body);
    if (!value) throw TableError::serialization(why);
    return {.contentType = CONTENT_TYPE,
            .body = found->answer({store_, now_(), sightingSaved_}, Parameters(*value)),
            .headers = {{"x-amzn-RequestId", randomUUID()}}};
  } catch (const TableError& refusal) {
    return error(400, refusal.type(), refusal.what());
  }
}

}  // namespace geoloom::localcloud
