
#include <gmock/gmock.h>

#include "geoloom/platform/aws/AWSCloudWatch.h"
#include "geoloom/storage/TransformRow.h"

#include "tests/support/FakeService.h"
#include "tests/support/LocalCloud.h"
#include "tests/support/Scans.h"

// The kit's clients sign their requests; the service verifies them with code of its own.
namespace geoloom::localcloud {
namespace {

using namespace platform;
using geoloom::test::save;
using ::testing::HasSubstr;

AWSDynamoDBObjectMapper mapperOf(const test::LocalCloud& cloud, const std::string& developerKey) {
  return AWSDynamoDBObjectMapper(geoloom::test::servicesAt(cloud.tables(), DeveloperKey::pair(developerKey)));
}

TransformRow row(const std::string& session, double time, float count) {
  TransformRow result;
  result.SessionId = session;
  result.Timestamp = time;
  result.MatchCount = count;
  return result;
}

class KitClientTest : public ::testing::TestWithParam<const char*> {};

TEST_P(KitClientTest, SavesRowsAndScansPages) {
  test::LocalCloud cloud(GetParam());
  const AWSDynamoDBObjectMapper mapper = mapperOf(cloud, GetParam());
  for (int i = 0; i < 4; ++i)
    ASSERT_TRUE(save(row("M é", 1.7e9 + i / 4.0, static_cast<float>(i)), mapper)) << i;
  ASSERT_TRUE(save(row("other", 1, 9), mapper));

  std::vector<float> counts;
  int pages = 0;
  auto expression = geoloom::test::scanFor("SessionId", "M é", 2);
  for (bool more = true; more; ++pages) {
    const auto page = mapper.scan<TransformRow>(expression);
    ASSERT_TRUE(page) << page.failure().message;
    for (const TransformRow& found : page->items) counts.push_back(found.MatchCount.value_or(-1));
    expression.exclusiveStartKey = page->lastEvaluatedKey;
    more = page->lastEvaluatedKey.has_value();
  }
  EXPECT_THAT(counts, ::testing::ElementsAre(0, 1, 2, 3));
  EXPECT_EQ(pages, 3);
}

TEST_P(KitClientTest, RefusesOtherKeys) {
  test::LocalCloud cloud(GetParam());
  const std::string wrongSecret = DeveloperKey::pair(GetParam()).accessKey + ":guessed";
  for (const auto& [key, says] : {std::pair(std::string("unknown"), "UnrecognizedClientException"),
                                  {wrongSecret, "InvalidSignatureException"}}) {
    const auto saved = save(row("M", 1, 1), mapperOf(cloud, key));
    ASSERT_FALSE(saved) << key;
    EXPECT_THAT(saved.failure().message, HasSubstr(says));
  }
  EXPECT_TRUE(cloud.rows("Transformations").empty());
}

TEST_P(KitClientTest, SignsByTheServicesClockOnceRefused) {
  test::LocalCloud cloud(GetParam(), [] { return std::chrono::system_clock::now() + std::chrono::hours(1); });
  const auto mapper = mapperOf(cloud, GetParam());
  EXPECT_FALSE(save(row("M", 1, 1), mapper));
  EXPECT_TRUE(save(row("M", 1, 1), mapper));
}

INSTANTIATE_TEST_SUITE_P(DeveloperKeys, KitClientTest,
                         ::testing::Values("a plain key", "AKIDEXAMPLE:secret/+key="));

}  // namespace
}  // namespace geoloom::localcloud
