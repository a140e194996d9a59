#include <deque>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "geoloom/storage/TransformScan.h"

#include "tests/support/EagerClock.h"
#include "tests/support/Scans.h"

namespace geoloom::test {
namespace {

using namespace std::chrono_literals;
using ::testing::Each;
using ::testing::SizeIs;
using ::testing::StartsWith;

TEST(ScanPause, DoublesUpToFourSecondsMinusUpToHalf) {
  const std::vector<std::chrono::nanoseconds> whole{250ms, 500ms, 1s, 2s, 4s, 4s, 4s};
  for (int failed = 1; failed <= 7; ++failed) {
    const auto span = whole[static_cast<std::size_t>(failed - 1)];
    EXPECT_EQ(scanPause(failed, 0), span) << failed;
    EXPECT_EQ(scanPause(failed, 1), span / 2) << failed;
  }
  EXPECT_EQ(scanPause(1000, 0), 4s);
}

FakeAnswer tableError(const std::string& type, int status = 400) {
  return FakeAnswer::json(
      R"({"__type": "com.amazonaws.dynamodb.v20120810#)" + type + R"(", "message": "told"})", status);
}

std::string item(const std::string& transform, int count = 12) {
  return fmt::format(
      R"({{"SessionId": {{"S": "M1"}}, "MatchCount": {{"N": "{}"}}, "MatchValue": {{"S": "0.5"}}, "Transform": {{"S": "{}"}}}})",
      count, transform);
}

FakeAnswer page(const std::string& items, const std::string& lastKey = {}) {
  return FakeAnswer::json(R"({"Items": [)" + items + "]" +
                          (lastKey.empty() ? "" : R"(, "LastEvaluatedKey": )" + lastKey) + "}");
}

/// A table service that gives its answers in turn and then repeats the last one.
class TransformScanTest : public ::testing::Test {
 protected:
  TransformScanTest() {
    platform::Clock::install(clock);
    makeDefault(servicesAt(service.url()));
  }

  base::Result<TransformScan> scan(std::deque<FakeAnswer> script) {
    {
      const std::lock_guard lock(mutex);
      answers = std::move(script);
    }
    return scanTransformRows("M1");
  }
  static std::string failureOf(const base::Result<TransformScan>& scan) {
    return scan ? "" : scan.failure().message;
  }
  // The pauses of a page that failed `failed` times.
  void expectPauses(int failed) {
    const auto delays = clock->delays.entries();
    ASSERT_EQ(delays.size(), static_cast<std::size_t>(failed));
    for (int tries = 1; tries <= failed; ++tries) {
      EXPECT_LE(delays[static_cast<std::size_t>(tries - 1)], scanPause(tries, 0)) << tries;
      EXPECT_GE(delays[static_cast<std::size_t>(tries - 1)], scanPause(tries, 1)) << tries;
    }
  }

  std::mutex mutex;
  std::deque<FakeAnswer> answers;
  LineRecorder lines;
  const std::shared_ptr<EagerClock> clock = std::make_shared<EagerClock>();
  FakeService service{[this](const RecordedRequest&) {
    const std::lock_guard lock(mutex);
    FakeAnswer answer = answers.front();
    if (answers.size() > 1) answers.pop_front();
    return answer;
  }};
};

TEST_F(TransformScanTest, FindsTheBestRowOfAllPages) {
  const std::string first = R"({"SessionId": {"S": "A"}, "Timestamp": {"N": "1.50"}})";
  const std::string second = R"({"SessionId": {"S": "B"}, "Timestamp": {"N": "2"}})";
  const auto found =
      scan({page(item("a") + "," + item("b", 13), first), page("", second), page(item("c", 13))});
  ASSERT_TRUE(found);
  EXPECT_EQ(found->rows, 3U);
  EXPECT_EQ(found->best->Transform, "b");

  auto body = nlohmann::json::parse(R"({"TableName": "Transformations", "Limit": 200,
      "FilterExpression": "#sessionId = :sessionId", "ExpressionAttributeNames": {"#sessionId": "SessionId"},
      "ExpressionAttributeValues": {":sessionId": {"S": "M1"}}})");
  const auto sent = service.requests();
  ASSERT_THAT(sent, SizeIs(3));
  EXPECT_EQ(sent[0].json(), body);
  body["ExclusiveStartKey"] = nlohmann::json::parse(first);
  EXPECT_EQ(sent[1].json(), body);
  body["ExclusiveStartKey"] = nlohmann::json::parse(second);
  EXPECT_EQ(sent[2].json(), body);
}

TEST_F(TransformScanTest, ReadsLargeTablesAndEndsAtAKeyThatDoesNotAdvance) {
  std::string many = item("a");
  for (int i = 1; i < 20'000; ++i) many.append(",").append(item("a"));
  std::deque<FakeAnswer> pages;
  for (int i = 0; i < 15; ++i)
    pages.push_back(page(many, fmt::format(R"({{"SessionId": {{"S": "{}"}}}})", i)));
  pages.push_back(page(item("last", 20)));
  const auto found = scan(std::move(pages));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->rows, 300'001U);
  EXPECT_EQ(found->best->Transform, "last");

  EXPECT_EQ(failureOf(scan({page(item("a"), R"({"SessionId": {"S": "A"}})")})),
            "Transform DB scan given up: a page ends with the key that it began after");
  EXPECT_THAT(service.requests(), SizeIs(16 + 2));
}

TEST_F(TransformScanTest, EndsAfterTenMinutes) {
  const auto manual = std::make_shared<platform::ManualClock>();
  platform::Clock::install(manual);
  int number = 0;
  const FakeService endless([&](const RecordedRequest&) {
    manual->advance(1min);
    return page("", fmt::format(R"({{"SessionId": {{"S": "{}"}}}})", ++number));
  });
  makeDefault(servicesAt(endless.url()));
  EXPECT_EQ(failureOf(scanTransformRows("M1")),
            "Transform DB scan given up: it takes longer than 10 minutes");
  EXPECT_EQ(number, 10);
}

TEST_F(TransformScanTest, RepeatsAFailedPageAfterAPause) {
  const std::string key = R"({"SessionId": {"S": "A"}, "Timestamp": {"N": "1"}})";
  const auto found =
      scan({page(item("a"), key), tableError("ProvisionedThroughputExceededException"),
            FakeAnswer::json("", 503), FakeAnswer::reset(), FakeAnswer::reset(), page(item("b"))});
  ASSERT_TRUE(found);
  EXPECT_EQ(found->rows, 2U);
  const auto delays = clock->delays.entries();
  ASSERT_THAT(delays, SizeIs(3));
  for (int tries = 1; tries <= 3; ++tries) {
    EXPECT_LE(delays[static_cast<std::size_t>(tries - 1)], scanPause(tries, 0)) << tries;
    EXPECT_GE(delays[static_cast<std::size_t>(tries - 1)], scanPause(tries, 1)) << tries;
  }
  const auto sent = service.requests();
  // A reused connection that closes is not a failure: the request is sent again over another.
  ASSERT_THAT(sent, SizeIs(6));
  for (std::size_t tries = 2; tries < sent.size(); ++tries) EXPECT_EQ(sent[tries].json(), sent[1].json());
  EXPECT_THAT(lines.entries(), Each(StartsWith("> The request failed. Error: ")));
}

TEST_F(TransformScanTest, CountsTheTriesOfEachPageAnew) {
  const FakeAnswer busy = FakeAnswer::json("", 503);
  const auto key = [](int page) {
    return R"({"SessionId": {"S": "A"}, "Timestamp": {"N": ")" + std::to_string(page) + "\"}}";
  };
  const auto found = scan({busy, busy, busy, page(item("a"), key(1)), busy, busy, busy, page(item("b"))});
  ASSERT_TRUE(found);
  EXPECT_EQ(found->rows, 2U);
}

TEST_F(TransformScanTest, FailsAfterFiveTriesOfAPage) {
  for (const char* type : {"ExpiredTokenException", "AccessDeniedException", "ResourceNotFoundException"}) {
    EXPECT_TRUE(scan({tableError(type), page(item("a"))})) << type;
    EXPECT_EQ(failureOf(scan({tableError(type)})), "Transform DB scan given up after 5 tries") << type;
  }
  EXPECT_THAT(service.requests(), SizeIs(3 * (2 + MAXIMUM_SCAN_TRIES)));
}

TEST_F(TransformScanTest, IgnoresRowsOfOtherMaps) {
  const auto found =
      scan({page(R"({"SessionId": {"S": "M2"}, "MatchCount": {"N": "99"}, "Transform": {"S": "no"}},)" +
                 item("a") + R"(,{"MatchCount": {"N": "13"}, "Transform": {"S": "b"}})")});
  ASSERT_TRUE(found);
  EXPECT_EQ(found->rows, 2U);
  EXPECT_EQ(found->best->Transform, "b");
}

}  // namespace
}  // namespace geoloom::test
