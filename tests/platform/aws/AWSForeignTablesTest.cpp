#include <filesystem>

#include <gmock/gmock.h>

#include "geoloom/platform/aws/AWSDynamoDBObjectMapper.h"
#include "geoloom/platform/aws/AWSRequest.h"

#include "tests/support/ChildProcess.h"
#include "tests/support/HTTP.h"
#include "tests/support/Scans.h"

namespace {

using namespace geoloom::platform;
using geoloom::test::ChildProcess;
using geoloom::test::pageOf;
using geoloom::test::save;
using testing::HasSubstr;
using Kind = AWSError::Kind;

struct Reading : AWSDynamoDBObjectModel {
  std::optional<std::string> Sensor;
  std::optional<std::int64_t> Number;
  std::optional<float> Value;
  std::optional<bool> Valid;
  std::optional<std::string> Note;

  static constexpr std::string_view dynamoDBTableName() { return "Readings"; }
  static constexpr std::string_view hashKeyAttribute() { return "Sensor"; }
  static constexpr std::string_view rangeKeyAttribute() { return "Number"; }
  static constexpr auto attributes() {
    return std::tuple{
        AWSDynamoDBAttribute{"Sensor", &Reading::Sensor}, AWSDynamoDBAttribute{"Number", &Reading::Number},
        AWSDynamoDBAttribute{"Value", &Reading::Value}, AWSDynamoDBAttribute{"Valid", &Reading::Valid},
        AWSDynamoDBAttribute{"Note", &Reading::Note}};
  }
};

struct Missing : Reading {
  static constexpr std::string_view dynamoDBTableName() { return "Missing"; }
};

constexpr char createReadings[] = R"({"TableName":"Readings",
  "AttributeDefinitions":[{"AttributeName":"Sensor","AttributeType":"S"},{"AttributeName":"Number","AttributeType":"N"}],
  "KeySchema":[{"AttributeName":"Sensor","KeyType":"HASH"},{"AttributeName":"Number","KeyType":"RANGE"}],
  "ProvisionedThroughput":{"ReadCapacityUnits":10,"WriteCapacityUnits":10}})";

/// The mapper against a table service and a verifier that we did not write.
class AWSForeignTables : public testing::Test {
 protected:
  void SetUp() override {
    const std::string node = GEOLOOM_TEST_NODE;
    const std::string modules = GEOLOOM_TEST_NODE_MODULES;
    if (node.empty() || !std::filesystem::exists(modules + "/dynalite"))
      GTEST_SKIP() << "Node.js or the programs of tests/peers are missing; scripts/setup installs both";
    service_ = std::make_unique<ChildProcess>(std::vector<std::string>{
        "env", "NODE_PATH=" + modules, node, std::string(GEOLOOM_TEST_PEERS) + "/tables.js", accessKey,
        secretKey, "us-west-2"});
    url_ = "http://127.0.0.1:" + service_->readLine();
    useSecret(secretKey);
    createTable();
  }

  void useSecret(const std::string& secret) const {
    geoloom::test::makeDefault(geoloom::test::servicesAt(url_, {accessKey, secret}));
  }

  void createTable() const {
    const auto configuration = AWSServiceManager::defaultServiceManager().defaultServiceConfiguration();
    auto request =
        awsRequest(*configuration, url_, "dynamodb", "DynamoDB_20120810.CreateTable", createReadings);
    const HTTPResponse response = geoloom::test::answerTo(std::move(request.value()));
    ASSERT_EQ(response.status, 200) << response.body << response.error;
  }

  static Reading reading(std::string sensor, std::int64_t number) {
    Reading made;
    made.Sensor = std::move(sensor);
    made.Number = number;
    made.Value = 0.1F * static_cast<float>(number);
    made.Valid = number % 2 == 0;
    return made;
  }

  static constexpr char accessKey[] = "AKIDEXAMPLE";
  static constexpr char secretKey[] = "wJalrXUtnFEMI/K7MDENG+bPxRfiCYEXAMPLEKEY";
  std::unique_ptr<ChildProcess> service_;
  std::string url_;
};

TEST_F(AWSForeignTables, KeepWhatIsSavedAndGiveItBackPageByPage) {
  constexpr std::int64_t count = 20;
  for (std::int64_t number = 0; number < count; ++number)
    for (const std::string sensor : {"ours", "theirs"}) ASSERT_FALSE(save(reading(sensor, number)));
  AWSDynamoDBScanExpression expression = geoloom::test::scanFor("Sensor", "ours", 10);
  std::set<std::int64_t> numbers;
  int pages = 0;
  do {
    const auto result = pageOf<Reading>(expression);
    ASSERT_TRUE(std::holds_alternative<AWSDynamoDBPage<Reading>>(result))
        << std::get<AWSError>(result).description;
    const auto& page = std::get<AWSDynamoDBPage<Reading>>(result);
    for (const Reading& item : page.items) {
      EXPECT_EQ(item.Sensor, "ours");
      EXPECT_EQ(item.Value, 0.1F * static_cast<float>(*item.Number));
      EXPECT_EQ(item.Valid, *item.Number % 2 == 0);
      EXPECT_FALSE(item.Note);
      numbers.insert(*item.Number);
    }
    expression.exclusiveStartKey = page.lastEvaluatedKey;
    ++pages;
  } while (expression.exclusiveStartKey && pages < 10);
  EXPECT_EQ(numbers.size(), static_cast<std::size_t>(count));
  // Four full pages, and an empty one that says so: a full last page carries a key as well.
  EXPECT_EQ(pages, 5);
}

TEST_F(AWSForeignTables, RefuseInShapesThatAreUnderstood) {
  const auto missing = pageOf<Missing>({});
  EXPECT_THAT(std::get<AWSError>(missing).description, HasSubstr("ResourceNotFoundException"));
  EXPECT_EQ(std::get<AWSError>(missing).kind, Kind::rejected);
  Reading keyless = reading("ours", 1);
  keyless.Number = std::nullopt;
  const auto invalid = save(keyless);
  ASSERT_TRUE(invalid);
  EXPECT_THAT(invalid->description, HasSubstr("ValidationException: "));
  EXPECT_EQ(invalid->kind, Kind::rejected);
  useSecret("another secret");
  const auto unsignedSave = save(reading("ours", 1));
  ASSERT_TRUE(unsignedSave);
  EXPECT_THAT(unsignedSave->description, HasSubstr("InvalidSignatureException"));
}

TEST_F(AWSForeignTables, HoldTextsAndNumbersAtTheirLimits) {
  Reading odd = reading("a \"b\" é \xF0\x9F\x98\x80 \\ \n", 1LL << 60);
  odd.Value = -1e-38F;
  odd.Note = std::string(100'000, 'n');
  ASSERT_FALSE(save(odd));
  const auto result = pageOf<Reading>({});
  const auto& page = std::get<AWSDynamoDBPage<Reading>>(result);
  ASSERT_EQ(page.items.size(), 1U);
  EXPECT_EQ(page.items[0].Sensor, odd.Sensor);
  EXPECT_EQ(page.items[0].Number, odd.Number);
  EXPECT_EQ(page.items[0].Value, odd.Value);
  EXPECT_EQ(page.items[0].Note, odd.Note);
}

}  // namespace
