#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <variant>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "geoloom/platform/aws/AWSCloudWatch.h"
#include "geoloom/platform/aws/AWSDynamoDBObjectMapper.h"
#include "geoloom/platform/aws/DeveloperKey.h"

#include "tests/support/LocalCloud.h"
#include "tests/support/Scans.h"

// The kit's clients, which sign what they send, against the service, which verifies it with code of its own.
namespace geoloom::localcloud {
namespace {

using namespace platform;
using ::testing::HasSubstr;

struct Row : AWSDynamoDBObjectModel {
  std::optional<std::string> SessionId;
  std::optional<double> Timestamp;
  std::optional<float> MatchCount;

  static constexpr std::string_view dynamoDBTableName() { return "Transformations"; }
  static constexpr std::string_view hashKeyAttribute() { return "SessionId"; }
  static constexpr std::string_view rangeKeyAttribute() { return "Timestamp"; }
  static constexpr auto attributes() {
    return std::tuple{AWSDynamoDBAttribute{"SessionId", &Row::SessionId},
                      AWSDynamoDBAttribute{"Timestamp", &Row::Timestamp},
                      AWSDynamoDBAttribute{"MatchCount", &Row::MatchCount}};
  }
};

std::shared_ptr<const AWSServiceConfiguration> configuration(const test::LocalCloud& cloud,
                                                             const std::string& developerKey) {
  const DeveloperKey::Pair pair = DeveloperKey::pair(developerKey);
  return std::make_shared<AWSServiceConfiguration>(
      AWSRegionUSWest2, std::make_shared<AWSStaticCredentialsProvider>(pair.accessKey, pair.secretKey),
      AWSServiceEndpoints{.tables = cloud.tables(), .metrics = cloud.metrics()});
}

/// What a save was answered with; empty when the row was written.
std::string save(const AWSDynamoDBObjectMapper& mapper, const Row& row) {
  std::promise<std::string> outcome;
  mapper.save(
      row, [&](const std::optional<AWSError>& error) { outcome.set_value(error ? error->description : ""); });
  return outcome.get_future().get();
}

Row row(const std::string& session, double time, float count) {
  Row result;
  result.SessionId = session;
  result.Timestamp = time;
  result.MatchCount = count;
  return result;
}

AWSDynamoDBScanExpression scanOf(const std::string& session, int limit) {
  AWSDynamoDBScanExpression expression;
  expression.limit = limit;
  expression.filterExpression = "#sessionId = :sessionId";
  expression.expressionAttributeNames = {{"#sessionId", "SessionId"}};
  expression.expressionAttributeValues = {{":sessionId", AWSDynamoDBAttributeValue::text(session)}};
  return expression;
}

class KitClientTest : public ::testing::TestWithParam<const char*> {};

TEST_P(KitClientTest, SignedTableCallsAreAcceptedAndPagesAreWalked) {
  test::LocalCloud cloud(GetParam());
  const AWSDynamoDBObjectMapper mapper(configuration(cloud, GetParam()));
  for (int i = 0; i < 4; ++i) ASSERT_EQ(save(mapper, row("M é", 1.7e9 + i / 4.0, static_cast<float>(i))), "");
  ASSERT_EQ(save(mapper, row("other", 1, 9)), "");

  std::vector<float> counts;
  int pages = 0;
  auto expression = scanOf("M é", 2);
  for (bool more = true; more; ++pages) {
    const auto outcome = geoloom::testing::pageOf<Row>(expression, mapper);
    ASSERT_TRUE(std::holds_alternative<AWSDynamoDBPage<Row>>(outcome))
        << std::get<AWSError>(outcome).description;
    const auto& page = std::get<AWSDynamoDBPage<Row>>(outcome);
    for (const Row& found : page.items) counts.push_back(found.MatchCount.value_or(-1));
    expression.exclusiveStartKey = page.lastEvaluatedKey;
    more = page.lastEvaluatedKey.has_value();
  }
  EXPECT_THAT(counts, ::testing::ElementsAre(0, 1, 2, 3));
  EXPECT_EQ(pages, 3);
}

TEST_P(KitClientTest, AnotherKeyIsRefused) {
  test::LocalCloud cloud(GetParam());
  EXPECT_THAT(save(AWSDynamoDBObjectMapper(configuration(cloud, "stranger")), row("M", 1, 1)),
              HasSubstr("UnrecognizedClientException"));
  const std::string wrongSecret = DeveloperKey::pair(GetParam()).accessKey + ":guessed";
  EXPECT_THAT(save(AWSDynamoDBObjectMapper(configuration(cloud, wrongSecret)), row("M", 1, 1)),
              HasSubstr("InvalidSignatureException"));
  EXPECT_TRUE(cloud.rows("Transformations").empty());
}

TEST_P(KitClientTest, SignedMetricsAreCounted) {
  test::LocalCloud cloud(GetParam());
  const AWSCloudWatch client(configuration(cloud, GetParam()));
  const AWSCloudWatchPutMetricDataInput input{
      .namespace_ = "YeltMaps",
      .metricData = {{.metricName = "YeltMaps.AssetSaved",
                      .dimensions = {{.name = "devKey", .value = "hash"}},
                      .value = 1,
                      .unit = AWSCloudWatchStandardUnitCount}}};
  for (int i = 0; i < 3; ++i) client.putMetricData(input);
  const auto samples = [&] {
    const auto metrics = cloud.store().metrics();
    return metrics.empty() ? 0 : metrics[0].samples;
  };
  // Nobody is told when a metric has arrived.
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (samples() < 3 && std::chrono::steady_clock::now() < giveUp) std::this_thread::yield();
  ASSERT_EQ(samples(), 3);
  EXPECT_EQ(cloud.store().metrics()[0].dimensions, R"([{"Name":"devKey","Value":"hash"}])");
}

INSTANTIATE_TEST_SUITE_P(DeveloperKeys, KitClientTest,
                         ::testing::Values("a plain key", "AKIDEXAMPLE:secret/+key="));

}  // namespace
}  // namespace geoloom::localcloud
