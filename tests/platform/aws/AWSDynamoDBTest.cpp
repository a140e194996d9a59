#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "geoloom/platform/aws/AWSDynamoDBObjectMapper.h"
#include "geoloom/platform/aws/AWSDynamoDBWire.h"

#include "tests/support/Scans.h"
#include "tests/support/SignatureV4.h"

namespace {

namespace dynamodb = geoloom::platform::dynamodb;
using namespace geoloom::platform;
namespace base = geoloom::base;
using namespace geoloom::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Value = AWSDynamoDBAttributeValue;

struct Row : AWSDynamoDBObjectModel {
  std::optional<std::string> Name;
  std::optional<std::int64_t> Count;
  std::optional<float> Single;
  std::optional<double> Double;
  std::optional<bool> Flag;

  static constexpr std::string_view dynamoDBTableName() { return "Rows"; }
  static constexpr std::string_view hashKeyAttribute() { return "Name"; }
  static constexpr std::string_view rangeKeyAttribute() { return "Count"; }
  static constexpr auto attributes() {
    return std::tuple{AWSDynamoDBAttribute{"Name", &Row::Name}, AWSDynamoDBAttribute{"Count", &Row::Count},
                      AWSDynamoDBAttribute{"Single", &Row::Single},
                      AWSDynamoDBAttribute{"Double", &Row::Double}, AWSDynamoDBAttribute{"Flag", &Row::Flag}};
  }
};

Row row(std::string name, std::int64_t count, float single, double wide, bool flag) {
  Row made;
  made.Name = std::move(name);
  made.Count = count;
  made.Single = single;
  made.Double = wide;
  made.Flag = flag;
  return made;
}

struct ScannedRow : AWSDynamoDBObjectModel {
  std::optional<std::string> Name;
  std::optional<float> Single;
  std::optional<double> Double;

  static constexpr std::string_view dynamoDBTableName() { return "Rows"; }
  static constexpr std::string_view hashKeyAttribute() { return "Name"; }
  static constexpr std::string_view rangeKeyAttribute() { return "Double"; }
  static constexpr auto attributes() {
    return std::tuple{AWSDynamoDBAttribute{"Name", &ScannedRow::Name},
                      AWSDynamoDBAttribute{"Single", &ScannedRow::Single},
                      AWSDynamoDBAttribute{"Double", &ScannedRow::Double}};
  }
};

TEST(AWSDynamoDBRow, ItemHasNumbersAsText) {
  constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
  constexpr double INF = std::numeric_limits<double>::infinity();
  Row absent;
  absent.Name = "";
  const std::pair<Row, std::string> cases[] = {
      {row("a", -3, 0.1F, 1700000000.125, true),
       R"({"Count":{"N":"-3"},"Double":{"N":"1700000000.125"},"Flag":{"N":"1"},"Name":{"S":"a"},"Single":{"N":"0.1"}})"},
      {row("\xC3\xA9\"", 1LL << 62, -2.0F, 1e-7, false),
       R"({"Count":{"N":"4611686018427387904"},"Double":{"N":"1e-07"},"Flag":{"N":"0"},"Name":{"S":"é\""},"Single":{"N":"-2"}})"},
      {row("a\xffz", 0, NOT_A_NUMBER, INF, false),
       R"({"Count":{"N":"0"},"Flag":{"N":"0"},"Name":{"S":"a�z"}})"},
      {absent, R"({"Name":{"S":""}})"},
  };
  for (const auto& [saved, item] : cases)
    EXPECT_EQ(dynamodb::putItemBody("Rows", toAttributes(saved)),
              R"({"TableName":"Rows","Item":)" + item + "}");
}

TEST(AWSDynamoDBRow, ReadsItems) {
  const auto read = [](const std::string& item) { return fromItem<ScannedRow>(*JSON::parse(item)); };
  const ScannedRow whole =
      read(R"({"Name":{"S":"a"},"Single":{"N":"0.1"},"Double":{"N":"1E+2"},"More":{"S":""}})");
  EXPECT_EQ(whole.Name, "a");
  EXPECT_EQ(whole.Single, 0.1F);
  EXPECT_EQ(whole.Double, 100.0);
  for (const std::string text : {R"({})", R"([])", R"("x")", R"({"Name":null,"Single":[],"Double":"1"})",
                                 R"({"Name":{"N":"1"},"Single":{"S":"1"},"Double":{"NULL":true}})",
                                 R"({"Name":{"S":1},"Single":{"N":""},"Double":{"N":"1 "}})",
                                 R"({"Name":{},"Single":{"N":"nan"},"Double":{"N":"inf"}})"}) {
    const ScannedRow empty = read(text);
    EXPECT_FALSE(empty.Name || empty.Single || empty.Double) << text;
  }
}

TEST(AWSDynamoDBScan, WritesTheExpression) {
  EXPECT_EQ(dynamodb::scanBody("Rows", {}), R"({"TableName":"Rows"})");
  AWSDynamoDBScanExpression expression;
  expression.limit = 200;
  expression.filterExpression = "#n = :n";
  expression.expressionAttributeNames = {{"#n", "Name"}};
  expression.expressionAttributeValues = {{":n", Value::text("a\"b")}};
  expression.exclusiveStartKey = {{"Count", Value::number("00.10")},
                                  {"Name", Value{Value::Type::binary, "AAE="}}};
  EXPECT_EQ(
      dynamodb::scanBody("Rows", expression),
      R"({"TableName":"Rows","Limit":200,"FilterExpression":"#n = :n","ExpressionAttributeNames":{"#n":"Name"},)"
      R"("ExpressionAttributeValues":{":n":{"S":"a\"b"}},)"
      R"("ExclusiveStartKey":{"Count":{"N":"00.10"},"Name":{"B":"AAE="}}})");
}

TEST(AWSDynamoDBScan, ReadsPages) {
  struct Case {
    std::string body;
    /// Number of items and last key; absent if the body is not a page.
    std::optional<std::pair<std::size_t, AWSDynamoDBAttributes>> page;
  };
  const AWSDynamoDBAttributes key{{"Count", Value::number("1.50")}, {"Name", Value::text("a")}};
  const std::vector<Case> cases{
      {R"({"Count":0,"Items":[],"ScannedCount":0})", {{0, {}}}},
      {R"({"Items":[{},{"Name":{"S":"a"}}]})", {{2, {}}}},
      {R"({"Items":[{}],"LastEvaluatedKey":{"Name":{"S":"a"},"Count":{"N":"1.50"}}})", {{1, key}}},
      {R"({"Items":[],"LastEvaluatedKey":{}})", {{0, {}}}},
      {R"({"Items":[],"LastEvaluatedKey":null})", {{0, {}}}},
      {R"({"Items":[1,null,{}]})", {{1, {}}}},
      {R"({"Items":[],"LastEvaluatedKey":"a"})", {}},
      {R"({"Items":[],"LastEvaluatedKey":{"Name":{"S":1}}})", {}},
      {R"({"Items":{}})", {}},
      {"{}", {{0, {}}}},
      {R"({"Count":0,"LastEvaluatedKey":{"Name":{"S":"a"},"Count":{"N":"1.50"}}})", {{0, key}}},
      {"[]", {}},
      {"", {}},
      {"<html>hotel login</html>", {}},
  };
  for (const Case& c : cases) {
    const auto page = dynamodb::readPage(c.body);
    ASSERT_EQ(static_cast<bool>(page), c.page.has_value()) << c.body;
    if (!page) continue;
    EXPECT_EQ(page->items.size(), c.page->first) << c.body;
    EXPECT_EQ(page->lastEvaluatedKey.value_or(AWSDynamoDBAttributes{}), c.page->second) << c.body;
    EXPECT_EQ(page->lastEvaluatedKey.has_value(), !c.page->second.empty()) << c.body;
  }
}

TEST(AWSDynamoDBError, IsOneLine) {
  const std::tuple<int, std::string, std::string> cases[] = {
      {400, R"({"__type":"com.amazonaws.dynamodb.v20120810#ResourceNotFoundException","message":"no table"})",
       "ResourceNotFoundException: no table (HTTP 400)"},
      {400, R"({"__type":"com.amazon.coral.validate#ValidationException","Message":"a\r\nb"})",
       R"(ValidationException: a\u{d}\nb (HTTP 400))"},
      {400, R"({"__type":"com.amazon.coral.service#UnrecognizedClientException"})",
       "UnrecognizedClientException (HTTP 400)"},
      {400, R"({"__type":7,"message":[]})", "HTTP 400"},
      {502, "<html><body>Bad Gateway</body></html>", "HTTP 502"},
      {307, "", "HTTP 307"},
  };
  for (const auto& [status, body, message] : cases)
    EXPECT_EQ(dynamodb::readStatus(status, body).failure().message, message) << body;
  EXPECT_TRUE(dynamodb::readStatus(200, R"({"__type":"x#ValidationException"})"));
  EXPECT_LT(dynamodb::readStatus(400, R"({"message":")" + std::string(100'000, 'm') + "\"}")
                .failure()
                .message.size(),
            600U);
}

const DeveloperKey::Pair pair{"AKIDEXAMPLE", "wJalr/XUtnFEMI:K7MDENG"};

class AWSDynamoDBObjectMapperTest : public testing::Test {
 protected:
  static void useTablesAt(const std::string& address) { makeDefault(servicesAt(address, pair)); }
  static base::Result<AWSDynamoDBPage<ScannedRow>> scan() {
    return AWSDynamoDBObjectMapper::defaultMapper().scan<ScannedRow>({});
  }
  static std::string failureOf(const base::Result<AWSDynamoDBPage<ScannedRow>>& result) {
    return result ? "a page" : result.failure().message;
  }
};

TEST_F(AWSDynamoDBObjectMapperTest, FollowsTheProtocol) {
  const FakeService service([](const RecordedRequest& request) {
    return request.header("X-Amz-Target") == "DynamoDB_20120810.Scan"
               ? FakeAnswer::json(R"({"Items":[{"Name":{"S":"x"},"Double":{"N":"2"}},{"Name":{"S":"y"}}],)"
                                  R"("LastEvaluatedKey":{"Name":{"S":"y"}}})")
               : FakeAnswer::json("{}");
  });
  useTablesAt(service.url());
  EXPECT_TRUE(save(row("a", 1, 0.5F, 2, true)));
  const auto page = scan();
  ASSERT_EQ(page->items.size(), 2U);
  EXPECT_EQ(page->items[0].Name, "x");
  EXPECT_EQ(page->items[0].Double, 2);
  EXPECT_EQ(page->items[1].Name, "y");
  EXPECT_EQ(page->lastEvaluatedKey, (AWSDynamoDBAttributes{{"Name", Value::text("y")}}));

  const std::vector<std::pair<std::string, std::string>> expected{
      {"DynamoDB_20120810.PutItem", dynamodb::putItemBody("Rows", toAttributes(row("a", 1, 0.5F, 2, true)))},
      {"DynamoDB_20120810.Scan", dynamodb::scanBody("Rows", {})}};
  const auto requests = service.requests();
  ASSERT_EQ(requests.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(requests[i].method + " " + requests[i].path, "POST /");
    EXPECT_EQ(requests[i].header("X-Amz-Target"), expected[i].first);
    EXPECT_EQ(requests[i].header("Content-Type"), "application/x-amz-json-1.0");
    EXPECT_EQ(requests[i].body, expected[i].second);
    EXPECT_EQ(signatureFault(requests[i], pair, "dynamodb"), "");
    EXPECT_NE(signatureFault(requests[i], {pair.accessKey, "another secret"}, "dynamodb"), "");
    EXPECT_THAT(requests[i].head, Not(HasSubstr("wJalr")));
  }
}

TEST_F(AWSDynamoDBObjectMapperTest, UsesTheDefaultConfigurationAtTheCall) {
  const auto answer = [](const RecordedRequest&) { return FakeAnswer::json(R"({"Items":[]})"); };
  const FakeService first(answer);
  const FakeService second(answer);
  useTablesAt(first.url());
  EXPECT_EQ(failureOf(scan()), "a page");
  useTablesAt(second.url());
  EXPECT_EQ(failureOf(scan()), "a page");
  EXPECT_EQ(first.requests().size(), 1U);
  EXPECT_EQ(second.requests().size(), 1U);
}

TEST_F(AWSDynamoDBObjectMapperTest, FailsWithoutNamingASecret) {
  const FakeService service([](const RecordedRequest& request) {
    return FakeAnswer::json(R"({"__type":"x#IncompleteSignatureException","message":"in )" +
                                request.header("Authorization").value_or("").substr(0, 60) +
                                R"(, wJalr/XUtnFEMI:K7MDENG"})",
                            400);
  });
  useTablesAt(service.url());
  for (const std::string& message : {failureOf(scan()), save(Row{}).failure().message})
    EXPECT_THAT(message, AllOf(HasSubstr("IncompleteSignatureException: in AWS4-HMAC-SHA256 Credential=***/"),
                               Not(HasSubstr("AKIDEXAMPLE")), Not(HasSubstr("wJalr"))));
}

TEST_F(AWSDynamoDBObjectMapperTest, NamesTheReasonIfNothingIsSent) {
  makeDefault(nullptr);
  EXPECT_THAT(failureOf(scan()), HasSubstr("No default service configuration"));
  useTablesAt("");
  EXPECT_THAT(failureOf(scan()), HasSubstr("No address"));
  EXPECT_THAT(save(Row{}).failure().message, HasSubstr("No address"));
  makeDefault(servicesAt("http://127.0.0.1:1", {"AK\r\nX-Injected: 1", "secret"}));
  EXPECT_THAT(failureOf(scan()), AllOf(HasSubstr("control character"), Not(HasSubstr("Injected"))));
}

// A second sending could overwrite a later row.
TEST_F(AWSDynamoDBObjectMapperTest, SavesAreSentOnce) {
  std::atomic<int> asked = 0;
  const FakeService service([&asked](const RecordedRequest&) {
    return ++asked == 2 ? FakeAnswer::bytes("") : FakeAnswer::json("{}");
  });
  useTablesAt(service.url());
  EXPECT_TRUE(save(Row{}));
  EXPECT_FALSE(save(Row{}));
  EXPECT_EQ(service.requests().size(), 2U);
}

}  // namespace
