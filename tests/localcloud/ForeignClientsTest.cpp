#include <gmock/gmock.h>

#include "geoloom/platform/aws/AWSCloudWatch.h"
#include "geoloom/storage/SceneUnderstandingModel.h"
#include "geoloom/storage/TransformRow.h"

#include "tests/support/ChildProcess.h"
#include "tests/support/FakeService.h"
#include "tests/support/LocalCloud.h"
#include "tests/support/Scans.h"

// The provider's own clients of the table and metrics services: they send what the kit sends, and they accept
// the local cloud as the real service.
namespace geoloom::localcloud {
namespace {

using namespace platform;
using geoloom::test::ChildProcess;
using geoloom::test::FakeAnswer;
using geoloom::test::FakeService;
using geoloom::test::RecordedRequest;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using JSON = nlohmann::json;

constexpr char DEVELOPER_KEY[] = "a plain key";

class ForeignClientsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string modules = GEOLOOM_TEST_NODE_MODULES;
    if (std::string(GEOLOOM_TEST_NODE).empty() ||
        !std::filesystem::exists(modules + "/@aws-sdk/client-dynamodb"))
      GTEST_SKIP() << "Node.js or the programs of tests/peers are missing; scripts/setup installs both";
  }

  void start(const std::string& address, const DeveloperKey::Pair& pair = DeveloperKey::pair(DEVELOPER_KEY)) {
    const std::string program = std::string(GEOLOOM_TEST_PEERS) + "/clients.js";
    clients_ = std::make_unique<ChildProcess>(std::vector<std::string>{
        "env", std::string("NODE_PATH=") + GEOLOOM_TEST_NODE_MODULES, GEOLOOM_TEST_NODE, program, address,
        pair.accessKey, pair.secretKey, "us-west-2"});
  }

  [[nodiscard]] JSON ask(const JSON& request) const {
    EXPECT_TRUE(clients_->writeLine(request.dump()));
    const std::string line = clients_->readLine();
    return line.empty() ? JSON() : JSON::parse(line);
  }
  [[nodiscard]] JSON call(const char* client, const char* command, const JSON& input) const {
    return ask({{"client", client}, {"command", command}, {"input", input}});
  }
  /// The output of a call that has to succeed.
  [[nodiscard]] JSON tables(const char* command, const JSON& input) const {
    const JSON answer = call("tables", command, input);
    EXPECT_EQ(answer.value("status", 0), 200) << command << answer;
    return answer.value("output", JSON::object());
  }

  std::unique_ptr<ChildProcess> clients_;
};

/// The kit's clients, talking to the service at an address.
class Kit {
 public:
  explicit Kit(const std::string& address)
      : configuration_(geoloom::test::servicesAt(address, DeveloperKey::pair(DEVELOPER_KEY))) {}

  void scan(const std::optional<AWSDynamoDBAttributes>& startKey) const {
    auto expression = geoloom::test::scanFor("SessionId", "M é \"1\"", 200);
    expression.exclusiveStartKey = startKey;
    const AWSDynamoDBObjectMapper mapper(configuration_);
    static_cast<void>(static_cast<bool>(mapper.scan<TransformRow>(expression)));
  }

  void save() const {
    SceneUnderstandingModel row("S1", 7, 0.5F, -1.25F, 2, "cup", 0.875F, true);
    row.Timestamp = 1700000000.25;
    static_cast<void>(geoloom::test::save(row, AWSDynamoDBObjectMapper(configuration_)));
  }

  void putMetric() const {
    AWSCloudWatch(configuration_)
        .putMetricData({.namespace_ = "YeltMaps",
                        .metricData = {{.metricName = "YeltMaps.AssetSaved",
                                        .dimensions = {{.name = "devKey", .value = "hash"}},
                                        .value = 1,
                                        .unit = AWSCloudWatchStandardUnitCount}}});
  }

 private:
  std::shared_ptr<const AWSServiceConfiguration> configuration_;
};

/// "us-west-2/dynamodb/aws4_request" of an Authorization header.
std::string scopeOf(const RecordedRequest& request) {
  const std::string text = request.header("Authorization").value_or("");
  const std::size_t day = text.find('/');
  const std::size_t begin = text.find('/', day + 1) + 1;
  return day == std::string::npos ? "" : text.substr(begin, text.find(',') - begin);
}

std::vector<std::string> signedHeaders(const RecordedRequest& request) {
  const std::string text = request.header("Authorization").value_or("");
  std::size_t at = text.find("SignedHeaders=") + 14;
  std::vector<std::string> names;
  for (const std::size_t end = text.find(',', at); at < end;) {
    const std::size_t next = std::min(text.find(';', at), end);
    names.push_back(text.substr(at, next - at));
    at = next + 1;
  }
  return names;
}

TEST_F(ForeignClientsTest, SendTheKitsRequests) {
  const FakeService service([](const RecordedRequest& request) {
    const bool isScan = request.header("X-Amz-Target").value_or("").ends_with("Scan");
    return FakeAnswer::json(isScan ? R"({"Items":[],"Count":0,"ScannedCount":0})" : "{}");
  });
  const Kit kit(service.url());
  kit.scan({});
  kit.scan(AWSDynamoDBAttributes{{"SessionId", AWSDynamoDBAttributeValue::text("M0")},
                                 {"Timestamp", AWSDynamoDBAttributeValue::number("1700000000.5")}});
  kit.save();
  kit.putMetric();
  ASSERT_TRUE(service.waitForRequests(4));

  start(service.url());
  JSON scan =
      JSON::parse(R"({"TableName": "Transformations", "Limit": 200, "FilterExpression": "#name = :name",
      "ExpressionAttributeNames": {"#name": "SessionId"},
      "ExpressionAttributeValues": {":name": {"S": "M é \"1\""}}})");
  static_cast<void>(tables("ScanCommand", scan));
  scan["ExclusiveStartKey"] = {{"SessionId", {{"S", "M0"}}}, {"Timestamp", {{"N", "1700000000.5"}}}};
  static_cast<void>(tables("ScanCommand", scan));
  static_cast<void>(tables("PutItemCommand", JSON::parse(R"({"TableName": "SceneUnderstanding", "Item": {
      "SessionId": {"S": "S1"}, "FrameId": {"N": "7"}, "PositionX": {"N": "0.5"}, "PositionY": {"N": "-1.25"},
      "PositionZ": {"N": "2"}, "ObjectName": {"S": "cup"}, "Confidence": {"N": "0.875"},
      "Timestamp": {"N": "1700000000.25"}, "IsLocalizationSession": {"N": "1"}}})")));
  static_cast<void>(
      call("metrics", "PutMetricDataCommand", JSON::parse(R"({"Namespace": "YeltMaps", "MetricData": [
      {"MetricName": "YeltMaps.AssetSaved", "Dimensions": [{"Name": "devKey", "Value": "hash"}], "Value": 1,
       "Unit": "Count"}]})")));

  const auto requests = service.requests();
  ASSERT_EQ(requests.size(), 8U);
  for (std::size_t i = 0; i < 4; ++i) {
    const RecordedRequest& ours = requests[i];
    const RecordedRequest& theirs = requests[i + 4];
    EXPECT_EQ(ours.method + ours.path, theirs.method + theirs.path);
    EXPECT_EQ(ours.json(), theirs.json()) << ours.body << theirs.body;
    for (const char* const name : {"Content-Type", "X-Amz-Target", "x-amzn-query-mode", "Host"})
      EXPECT_EQ(ours.header(name), theirs.header(name)) << name;
    EXPECT_EQ(scopeOf(ours), scopeOf(theirs));
    EXPECT_THAT(scopeOf(ours), HasSubstr("us-west-2/"));
    // Their signer over our request gives our signature.
    JSON headers = JSON::object();
    for (const std::string& name : signedHeaders(ours)) headers[name] = ours.header(name).value_or("");
    const JSON toSign = {
        {"service", i < 3 ? "dynamodb" : "monitoring"}, {"headers", headers}, {"body", ours.body}};
    EXPECT_EQ(ask({{"sign", toSign}}).value("authorization", ""),
              ours.header("Authorization").value_or("none"));
  }
}

TEST_F(ForeignClientsTest, AcceptTheLocalCloudsTables) {
  test::LocalCloud cloud(DEVELOPER_KEY);
  start(cloud.tables());
  const JSON table = JSON::parse(R"({"TableName": "Readings", "BillingMode": "PAY_PER_REQUEST",
      "KeySchema": [{"AttributeName": "Sensor", "KeyType": "HASH"}, {"AttributeName": "Number", "KeyType": "RANGE"}],
      "AttributeDefinitions": [{"AttributeName": "Sensor", "AttributeType": "S"},
                               {"AttributeName": "Number", "AttributeType": "N"}]})");
  EXPECT_EQ(tables("CreateTableCommand", table).at("TableDescription").at("KeySchema"),
            table.at("KeySchema"));
  EXPECT_EQ(tables("DescribeTableCommand", {{"TableName", "Readings"}}).at("Table").at("TableStatus"),
            "ACTIVE");
  EXPECT_EQ(tables("ListTablesCommand", JSON::object()).at("TableNames"),
            JSON({"Readings", "SceneUnderstanding", "Transformations"}));

  const auto item = [](const char* sensor, int number) {
    return JSON{{"Sensor", {{"S", sensor}}},
                {"Number", {{"N", std::to_string(number)}}},
                {"More", {{"M", {{"list", {{"L", {{{"BOOL", true}}, {{"NULL", true}}}}}}}}}}};
  };
  for (int number = 0; number < 4; ++number)
    static_cast<void>(
        tables("PutItemCommand", {{"TableName", "Readings"}, {"Item", item("é \U0001F600", number)}}));
  static_cast<void>(tables("PutItemCommand", {{"TableName", "Readings"}, {"Item", item("other", 9)}}));
  const JSON key = {{"Sensor", {{"S", "other"}}}, {"Number", {{"N", "9"}}}};
  EXPECT_EQ(tables("GetItemCommand", {{"TableName", "Readings"}, {"Key", key}}).at("Item"), item("other", 9));

  JSON scan = JSON::parse(R"({"TableName": "Readings", "Limit": 2, "FilterExpression": "#s = :s",
      "ExpressionAttributeNames": {"#s": "Sensor"}, "ExpressionAttributeValues": {":s": {"S": "é 😀"}}})");
  JSON found = JSON::array();
  for (int pages = 0; pages < 10; ++pages) {
    const JSON page = tables("ScanCommand", scan);
    for (const JSON& row : page.at("Items")) found.push_back(row.at("Number").at("N"));
    if (!page.contains("LastEvaluatedKey")) break;
    scan["ExclusiveStartKey"] = page.at("LastEvaluatedKey");
  }
  EXPECT_EQ(found, JSON({"0", "1", "2", "3"}));
}

TEST_F(ForeignClientsTest, UnderstandItsErrorsAndMetrics) {
  test::LocalCloud cloud(DEVELOPER_KEY);
  start(cloud.tables());
  const auto errorOf = [this](const char* command, const JSON& input) {
    const JSON answer = call("tables", command, input);
    EXPECT_EQ(answer.value("status", 0), 400) << answer;
    EXPECT_NE(answer.value("message", ""), "") << answer;
    return answer.value("error", "");
  };
  const JSON keyless = {{"TableName", "Transformations"}, {"Item", {{"SessionId", {{"S", "M"}}}}}};
  const JSON schema = {{{"AttributeName", "Id"}, {"KeyType", "HASH"}}};
  const JSON types = {{{"AttributeName", "Id"}, {"AttributeType", "S"}}};
  EXPECT_EQ(errorOf("ScanCommand", {{"TableName", "Nowhere"}}), "ResourceNotFoundException");
  EXPECT_EQ(errorOf("PutItemCommand", keyless), "ValidationException");
  EXPECT_EQ(errorOf("QueryCommand", {{"TableName", "Transformations"}}), "UnknownOperationException");
  EXPECT_EQ(
      errorOf("CreateTableCommand",
              {{"TableName", "Transformations"}, {"KeySchema", schema}, {"AttributeDefinitions", types}}),
      "ResourceInUseException");

  const JSON datum = {
      {"MetricName", "Seen"}, {"Dimensions", {{{"Name", "devKey"}, {"Value", "h"}}}}, {"Value", 2.5}};
  const JSON put = {{"Namespace", "Rooms"}, {"MetricData", {datum}}};
  for (int i = 0; i < 2; ++i) EXPECT_EQ(call("metrics", "PutMetricDataCommand", put).value("status", 0), 200);
  ASSERT_EQ(cloud.counted().size(), 1U);
  EXPECT_EQ(cloud.counted()[0].samples, 2);
  EXPECT_EQ(cloud.counted()[0].sum, 5);
  EXPECT_EQ(call("metrics", "ListMetricsCommand", {{"Namespace", "Rooms"}}).at("output").at("Metrics").at(0),
            (JSON{{"Namespace", "Rooms"}, {"MetricName", "Seen"}, {"Dimensions", datum.at("Dimensions")}}));
  const JSON empty =
      call("metrics", "PutMetricDataCommand", {{"Namespace", "Rooms"}, {"MetricData", {{{"Value", 1}}}}});
  EXPECT_THAT(empty.value("error", ""), StartsWith("MissingRequiredParameter")) << empty;

  DeveloperKey::Pair guessed = DeveloperKey::pair(DEVELOPER_KEY);
  guessed.secretKey = "guessed";
  start(cloud.tables(), guessed);
  EXPECT_EQ(errorOf("ListTablesCommand", JSON::object()), "InvalidSignatureException");
  start(cloud.tables(), {"unknown", "guessed"});
  EXPECT_EQ(errorOf("ListTablesCommand", JSON::object()), "UnrecognizedClientException");
}

}  // namespace
}  // namespace geoloom::localcloud
