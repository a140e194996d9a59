#include <fmt/format.h>
#include <gmock/gmock.h>

#include "localcloud/DecimalNumber.h"
#include "localcloud/Metrics.h"
#include "localcloud/TableError.h"
#include "localcloud/TableService.h"
#include "tests/localcloud/ServiceFixture.h"

namespace geoloom::localcloud {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;

class TableServiceTest : public ServiceFixture {
 protected:
  using JSON = nlohmann::json;

  static JSON row(const std::string& session, const std::string& time, const JSON& more = JSON::object()) {
    JSON item = {{"SessionId", {{"S", session}}}, {"Timestamp", {{"N", time}}}};
    item.update(more);
    return item;
  }
  JSON put(const JSON& item) { return table("PutItem", {{"TableName", "Transformations"}, {"Item", item}}); }

  static JSON scanOf(const std::string& session) {
    return {{"TableName", "Transformations"},
            {"FilterExpression", "#sessionId = :sessionId"},
            {"ExpressionAttributeNames", {{"#sessionId", "SessionId"}}},
            {"ExpressionAttributeValues", {{":sessionId", {{"S", session}}}}}};
  }

  /// The "__type" after the "#"; checks the form of the error.
  std::string refusal(const std::string& operation, const JSON& body) {
    const JSON error = table(operation, body);
    EXPECT_EQ(status_, 400) << error;
    if (!error.contains("__type") || !error.at("message").is_string()) return error.dump();
    const std::string type = error.at("__type");
    return type.substr(type.find('#') + 1);
  }
};

TEST_F(TableServiceTest, StoresAttributesInCanonicalForm) {
  const JSON given = JSON::parse(R"({"MatchCount": {"N": "1.50e1"}, "Flag": {"BOOL": true},
      "Nothing": {"NULL": true}, "Data": {"B": "aGk="}, "Names": {"SS": ["b", "a"]},
      "List": {"L": [{"N": "007"}, {"S": "é\n"}]}, "Map": {"M": {"x": {"N": "-0.0"}}}})");
  EXPECT_EQ(put(row("M", "12.0", given)), JSON::object());
  EXPECT_EQ(status_, 200);
  const JSON expected = row("M", "12", JSON::parse(R"({"MatchCount": {"N": "15"}, "Flag": {"BOOL": true},
      "Nothing": {"NULL": true}, "Data": {"B": "aGk="}, "Names": {"SS": ["a", "b"]},
      "List": {"L": [{"N": "7"}, {"S": "é\n"}]}, "Map": {"M": {"x": {"N": "0"}}}})"));
  const auto get = [this](const std::string& time) {
    return table("GetItem", {{"TableName", "Transformations"}, {"Key", row("M", time)}});
  };
  EXPECT_EQ(get("1.2e1"), (JSON{{"Item", expected}}));
  EXPECT_EQ(get("13"), JSON::object());
}

TEST_F(TableServiceTest, ScanFiltersAndCounts) {
  put(row("M", "1"));
  put(row("N", "1"));
  put(row("M", "2"));
  const JSON page = table("Scan", scanOf("M"));
  EXPECT_EQ(page, (JSON{{"Count", 2}, {"ScannedCount", 2}, {"Items", {row("M", "1"), row("M", "2")}}}));
  JSON body = scanOf("M");
  body["Select"] = "COUNT";
  EXPECT_EQ(table("Scan", body), (JSON{{"Count", 2}, {"ScannedCount", 2}}));
  for (const char* const key : {"absent", ""}) {
    EXPECT_EQ(table("Scan", scanOf(key)),
              (JSON{{"Count", 0}, {"ScannedCount", 0}, {"Items", JSON::array()}}));
  }
}

TEST_F(TableServiceTest, ScanLimitsEvaluatedItemsAndResumes) {
  for (const char* const time : {"-5", "-0.5", "0", "2", "10", "11"}) put(row("M", time));
  for (const char* const other : {"L", "N"}) put(row(other, "1"));
  JSON body = scanOf("M");
  body["Limit"] = 3;
  std::vector<std::string> times;
  std::vector<std::size_t> sizes;
  for (int pages = 0; pages < 9; ++pages) {
    const JSON page = table("Scan", body);
    sizes.push_back(page.at("Items").size());
    EXPECT_EQ(page.at("Count"), page.at("Items").size());
    for (const JSON& item : page.at("Items")) times.push_back(item.at("Timestamp").at("N"));
    if (!page.contains("LastEvaluatedKey")) {
      EXPECT_EQ(page.at("ScannedCount"), 0);
      break;
    }
    EXPECT_EQ(page.at("LastEvaluatedKey").size(), 2U);
    body["ExclusiveStartKey"] = page.at("LastEvaluatedKey");
  }
  EXPECT_THAT(times, ElementsAre("-5", "-0.5", "0", "2", "10", "11")) << "range keys in the order of numbers";
  EXPECT_THAT(sizes, ElementsAre(3, 3, 0)) << "a full last page is followed by an empty one";
  for (const auto& [start, count] : {std::pair("L", 3), std::pair("N", 0)}) {
    body["ExclusiveStartKey"] = row(start, "1");
    EXPECT_EQ(table("Scan", body).at("Count"), count) << start;
  }
}

TEST_F(TableServiceTest, EndsAPageAtOneMegabyte) {
  const std::string large(300'000, 'x');
  for (int i = 0; i < 5; ++i) put(row("M", std::to_string(i), {{"Transform", {{"S", large}}}}));
  const JSON page = table("Scan", {{"TableName", "Transformations"}});
  EXPECT_EQ(page.at("Count"), 4);
  EXPECT_TRUE(page.contains("LastEvaluatedKey"));
}

TEST_F(TableServiceTest, FiltersByConjunctionsOfEqualities) {
  put(row("M", "1", {{"A", {{"N", "1.0"}}}, {"B", {{"S", "x"}}}}));
  put(row("M", "2", {{"A", {{"N", "1"}}}}));
  const auto count = [&](const std::string& filter, const JSON& names, const JSON& values) {
    JSON body = {{"TableName", "Transformations"},
                 {"FilterExpression", filter},
                 {"ExpressionAttributeValues", values}};
    if (!names.empty()) body["ExpressionAttributeNames"] = names;
    return table("Scan", body).value("Count", -1);
  };
  const JSON one = {{"N", "1e0"}};
  const JSON x = {{"S", "x"}};
  EXPECT_EQ(count("A = :a", {}, {{":a", one}}), 2);
  EXPECT_EQ(count(":a=A and #b =:b", {{"#b", "B"}}, {{":a", one}, {":b", x}}), 1);
  EXPECT_EQ(count("A = :a", {}, {{":a", {{"S", "1"}}}}), 0);
}

TEST_F(TableServiceTest, NamesUnsupportedExpressions) {
  const JSON values = {{":v", {{"S", "x"}}}};
  const std::tuple<const char*, JSON, JSON, const char*> cases[] = {
      {"", {}, {}, "can not be empty"},
      {"A > :v", {}, values, "only comparisons of the form"},
      {"begins_with(A, :v)", {}, values, "only comparisons of the form"},
      {"A = :v OR B = :v", {}, values, "only AND may join"},
      {"A = :v AND", {}, values, "only comparisons of the form"},
      {"A = B", {}, {}, "only comparisons of the form"},
      {"A = :w", {}, values, "not defined; attribute value: :w"},
      {"#a = :v", {}, values, "not defined; attribute name: #a"},
      {"A = :v", {{"#a", "A"}}, values, "unused in expressions: keys: {#a}"},
      {"A = :v", {}, {{":v", {{"S", "x"}}}, {":w", {{"S", "x"}}}}, "unused in expressions: keys: {:w}"},
  };
  for (const auto& [filter, named, given, message] : cases) {
    JSON body = {{"TableName", "Transformations"}, {"FilterExpression", filter}};
    if (!named.empty()) body["ExpressionAttributeNames"] = named;
    if (!given.empty()) body["ExpressionAttributeValues"] = given;
    const JSON error = table("Scan", body);
    EXPECT_EQ(status_, 400) << filter;
    EXPECT_THAT(error.value("__type", ""), EndsWith("#ValidationException"));
    EXPECT_THAT(error.value("message", ""), HasSubstr(message));
  }
}

TEST_F(TableServiceTest, RefusesWithTheServicesErrorTypes) {
  const auto about = [](const std::string& more) {
    return R"({"TableName":"Transformations",)" + more + "}";
  };
  const auto item = [&](const std::string& attributes) { return about(R"("Item":{)" + attributes + "}"); };
  const std::string key = R"("SessionId":{"S":"M"},"Timestamp":{"N":"1"})";
  const auto itemWith = [&](const std::string& value) { return item(key + R"(,"A":)" + value); };
  const auto create = [](const char* name, const char* schema, const char* type) {
    return fmt::format(R"({{"TableName":"{}","KeySchema":{},"AttributeDefinitions":[{{"AttributeName":"Id",)"
                       R"("AttributeType":"{}"}}]}})",
                       name, schema, type);
  };
  const char* const schema = R"([{"AttributeName":"Id","KeyType":"HASH"}])";
  const std::tuple<const char*, std::string, const char*> cases[] = {
      {"Scan", R"({"TableName":"Nowhere"})", "ResourceNotFoundException"},
      {"PutItem", R"({"TableName":"Nowhere","Item":{)" + key + "}}", "ResourceNotFoundException"},
      {"DescribeTable", R"({"TableName":"Nowhere"})", "ResourceNotFoundException"},
      {"CreateTable", create("Transformations", schema, "S"), "ResourceInUseException"},
      {"CreateTable", create("no spaces", schema, "S"), "ValidationException"},
      {"CreateTable", create("Fine", "[]", "S"), "ValidationException"},
      {"CreateTable", create("Fine", schema, "BOOL"), "ValidationException"},
      {"DropTable", "{}", "UnknownOperationException"},
      {"Query", "{}", "UnknownOperationException"},
      {"Scan", "[]", "SerializationException"},
      {"Scan", R"({"TableName":7})", "SerializationException"},
      {"Scan", R"({"TableName":null})", "ValidationException"},
      {"Scan", about(R"("Limit":0)"), "ValidationException"},
      {"Scan", about(R"("ScanFilter":{})"), "ValidationException"},
      {"Scan", about(R"("ExclusiveStartKey":{"SessionId":{"S":"M"}})"), "ValidationException"},
      {"PutItem", item(R"("SessionId":{"S":"M"})"), "ValidationException"},
      {"PutItem", item(R"("SessionId":{"S":""},"Timestamp":{"N":"1"})"), "ValidationException"},
      {"PutItem", item(R"("SessionId":{"N":"1"},"Timestamp":{"N":"1"})"), "ValidationException"},
      {"PutItem", item(R"("SessionId":{"S":"M"},"Timestamp":{"N":"one"})"), "ValidationException"},
      {"PutItem", itemWith("{}"), "ValidationException"},
      {"PutItem", itemWith(R"({"S":"x","N":"1"})"), "ValidationException"},
      {"PutItem", itemWith(R"({"X":"x"})"), "ValidationException"},
      {"PutItem", itemWith(R"({"S":1})"), "SerializationException"},
      {"PutItem", itemWith(R"({"B":"?"})"), "SerializationException"},
      {"PutItem", itemWith(R"({"SS":[]})"), "ValidationException"},
      {"PutItem", itemWith(R"({"NS":["1","1.0"]})"), "ValidationException"},
      {"PutItem", itemWith(R"({"S":")" + std::string(410'000, 'x') + R"("})"), "ValidationException"},
      {"PutItem", about(R"("Item":{)" + key + R"_(},"ConditionExpression":"attribute_exists(A)")_"),
       "ValidationException"},
      {"GetItem", about(R"("Key":{"SessionId":{"S":"M"}})"), "ValidationException"},
  };
  for (const auto& [operation, body, type] : cases)
    EXPECT_EQ(refusal(operation, JSON::parse(body)), type) << operation << body.substr(0, 200);
  EXPECT_EQ(JSON::parse(post("/", "{}").body).at("__type"),
            "com.amazon.coral.service#UnknownOperationException");
  EXPECT_EQ(JSON::parse(post("/", "{", "DynamoDB_20120810.Scan").body).at("__type"),
            "com.amazon.coral.service#SerializationException");
  EXPECT_EQ(table("Scan", {{"TableName", "Nowhere"}}).at("__type"),
            "com.amazonaws.dynamodb.v20120810#ResourceNotFoundException");
}

TEST(DecimalNumber, IsCanonicalAndOrdered) {
  const std::pair<const char*, const char*> forms[] = {
      {"0", "0"},
      {"-0.00e5", "0"},
      {"1", "1"},
      {"+1.0", "1"},
      {"0012.3400", "12.34"},
      {"1e3", "1000"},
      {"1E-10", "0.0000000001"},
      {"-.5", "-0.5"},
      {"5.", "5"},
      {"123.456e2", "12345.6"},
      {"1e-3", "0.001"},
      {"12345678901234567890123456789012345678", "12345678901234567890123456789012345678"}};
  for (const auto& [text, canonical] : forms) EXPECT_EQ(DecimalNumber(text).canonical(), canonical) << text;

  const std::vector<std::string> ordered = {
      "-9e125", "-100", "-99.5", "-99", "-1.5", "-1", "-0.12", "-0.1", "-1e-130", "0",    "1e-130",
      "0.1",    "0.12", "0.9",   "1",   "1.5",  "9",  "10",    "99",   "100",     "1e20", "9e125"};
  for (std::size_t i = 1; i < ordered.size(); ++i)
    EXPECT_LT(DecimalNumber(ordered[i - 1]).orderKey(), DecimalNumber(ordered[i]).orderKey()) << ordered[i];
  for (const char* const text :
       {"", "-", ".", "e1", "1e", "1 ", " 1", "0x1", "nan", "inf", "1,5", "1e126", "1e-131",
        "1e99999999999999999999", "123456789012345678901234567890123456789"})
    EXPECT_THROW(DecimalNumber{text}, TableError) << text;
}

TEST_F(TableServiceTest, CountsMetricsByNameAndDimensions) {
  const auto send = [&](const char* name, const char* key) {
    JSON data = JSON::parse(R"({"Namespace": "YeltMaps", "MetricData": [{"Value": 1, "Unit": "Count"}]})");
    data["MetricData"][0]["MetricName"] = name;
    data["MetricData"][0]["Dimensions"] = JSON::array({{{"Name", "devKey"}, {"Value", key}}});
    return metric("PutMetricData", data);
  };
  send("YeltMaps.AssetSaved", "k1");
  EXPECT_EQ(status_, 200);
  send("YeltMaps.AssetSaved", "k1");
  send("YeltMaps.AssetSaved", "k2");
  const auto metrics = store_.read(metrics::all);
  ASSERT_EQ(metrics.size(), 2U);
  EXPECT_EQ(metrics[0].samples, 2);
  EXPECT_EQ(metrics[0].sum, 2);
  EXPECT_EQ(metrics[0].dimensions, R"([{"Name":"devKey","Value":"k1"}])");
  EXPECT_EQ(metric("ListMetrics", {{"MetricName", "YeltMaps.AssetSaved"}}).at("Metrics").size(), 2U);
  EXPECT_EQ(metric("ListMetrics", {{"Namespace", "Other"}}).at("Metrics"), JSON::array());

  const Answer error = post("/", R"({"Namespace":"N"})", "GraniteServiceVersion20100801.PutMetricData");
  EXPECT_EQ(error.status, 400);
  EXPECT_EQ(JSON::parse(error.body).at("__type"),
            "com.amazonaws.cloudwatch.v2010_08_01#MissingRequiredParameterException");
  EXPECT_THAT(error.headers, ::testing::Contains(std::pair<std::string, std::string>(
                                 "x-amzn-query-error", "MissingRequiredParameterException;Sender")));
}

}  // namespace
}  // namespace geoloom::localcloud
