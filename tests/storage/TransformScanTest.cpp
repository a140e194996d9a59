#include <deque>

#include <gmock/gmock.h>

#include "tests/support/EagerClock.h"
#include "tests/support/Scans.h"

namespace geoloom::test {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::SizeIs;
using ::testing::StartsWith;

TEST(ScanPause, DoublesUpToFourSecondsLessAtMostHalf) {
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

std::string item(const std::string& transform) {
  return R"({"SessionId": {"S": "M1"}, "MatchCount": {"N": "12"}, "MatchValue": {"S": "0.5"}, "Transform": {"S": ")" +
         transform + R"("}})";
}

FakeAnswer page(const std::string& items, const std::string& lastKey = {}) {
  return FakeAnswer::json(R"({"Items": [)" + items + "]" +
                          (lastKey.empty() ? "" : R"(, "LastEvaluatedKey": )" + lastKey) + "}");
}

/// A table service that gives its answers in turn, the last one for ever.
class TransformScan : public ::testing::Test {
 protected:
  TransformScan() {
    platform::Clock::install(clock);
    makeDefault(servicesAt(service.url()));
  }

  std::optional<std::vector<TransformRow>> scan(std::deque<FakeAnswer> script) {
    {
      const std::lock_guard lock(mutex);
      answers = std::move(script);
    }
    return rowsOf("M1");
  }
  // The pauses of a page that failed so often.
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

TEST_F(TransformScan, CollectsAllPagesInOrder) {
  const std::string first = R"({"SessionId": {"S": "A"}, "Timestamp": {"N": "1.50"}})";
  const std::string second = R"({"SessionId": {"S": "B"}, "Timestamp": {"N": "2"}})";
  const auto rows = scan({page(item("a") + "," + item("b"), first), page("", second), page(item("c"))});
  ASSERT_TRUE(rows);
  ASSERT_THAT(*rows, SizeIs(3));
  EXPECT_EQ((*rows)[0].Transform, "a");
  EXPECT_EQ((*rows)[1].MatchCount, 12.0F);
  EXPECT_EQ((*rows)[2].Transform, "c");

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

TEST_F(TransformScan, FollowsAKeyThatComesBackButNotForEver) {
  const std::string key = R"({"SessionId": {"S": "A"}, "Timestamp": {"N": "1"}})";
  const auto rows = scan({page(item("a"), key), page(item("b"), key), page(item("c"), key), page(item("d"))});
  ASSERT_TRUE(rows);
  EXPECT_THAT(*rows, SizeIs(4));
  EXPECT_EQ(scan({page(item("a"), key)}), std::nullopt);
  EXPECT_THAT(service.requests(), SizeIs(4 + 2 + MAXIMUM_REPEATED_PAGES));
  EXPECT_THAT(lines.entries(), ElementsAre("> Transform DB scan given up: the table has no end"));

  // Two keys by turns.
  std::deque<FakeAnswer> turns;
  for (int i = 0; i < 200; ++i)
    turns.push_back(page("", fmt::format(R"({{"SessionId": {{"S": "{}"}}}})", i % 2)));
  EXPECT_EQ(scan(std::move(turns)), std::nullopt);
  const std::size_t before = service.requests().size();
  EXPECT_LT(before, 100U);

  std::string many = item("a");
  for (int i = 1; i < 20'000; ++i) many.append(",").append(item("a"));
  std::deque<FakeAnswer> pages;
  for (int i = 0; i < 15; ++i)
    pages.push_back(page(many, fmt::format(R"({{"SessionId": {{"S": "{}"}}}})", i)));
  EXPECT_EQ(scan(std::move(pages)), std::nullopt);
  EXPECT_THAT(service.requests(), SizeIs(before + 11));
}

TEST_F(TransformScan, AsksForTheSamePageAgainAfterAPause) {
  const std::string key = R"({"SessionId": {"S": "A"}, "Timestamp": {"N": "1"}})";
  const auto rows =
      scan({page(item("a"), key), tableError("ProvisionedThroughputExceededException"),
            FakeAnswer::json("", 503), FakeAnswer::reset(), FakeAnswer::reset(), page(item("b"))});
  ASSERT_TRUE(rows);
  EXPECT_THAT(*rows, SizeIs(2));
  expectPauses(3);
  const auto sent = service.requests();
  // A connection that closes under a request is not a failure yet: it goes out over another.
  ASSERT_THAT(sent, SizeIs(6));
  for (std::size_t tries = 2; tries < sent.size(); ++tries) EXPECT_EQ(sent[tries].json(), sent[1].json());
  EXPECT_THAT(lines.entries(), ElementsAre(StartsWith("> The request failed. Error: "),
                                           StartsWith("> The request failed. Error: "),
                                           StartsWith("> The request failed. Error: ")));
}

TEST_F(TransformScan, TriesAgainWhateverTheServiceRefusesButNotForEver) {
  for (const char* type : {"ExpiredTokenException", "AccessDeniedException", "ResourceNotFoundException"}) {
    EXPECT_TRUE(scan({tableError(type), page(item("a"))})) << type;
    lines.clear();
    EXPECT_EQ(scan({tableError(type)}), std::nullopt) << type;
    EXPECT_EQ(lines.entries().back(), "> Transform DB scan given up after 5 tries");
  }
  EXPECT_THAT(service.requests(), SizeIs(3 * (2 + MAXIMUM_SCAN_TRIES)));
}

TEST_F(TransformScan, DoesNotRepeatWhatItCannotSend) {
  makeDefault(servicesAt("http://192.0.2.1/"));
  EXPECT_EQ(scan({page(item("a"))}), std::nullopt);
  expectPauses(0);
  EXPECT_THAT(lines.entries(), ElementsAre(StartsWith("> The request failed. Error: "),
                                           "> Transform DB scan given up after 1 try"));
}

TEST_F(TransformScan, LeavesOutTheRowsOfOtherMaps) {
  const auto rows = scan({page(R"({"SessionId": {"S": "M2"}, "Transform": {"S": "no"}},)" + item("a") +
                               R"(,{"Transform": {"S": "b"}})")});
  ASSERT_TRUE(rows);
  ASSERT_THAT(*rows, SizeIs(2));
  EXPECT_EQ((*rows)[0].Transform, "a");
  EXPECT_EQ((*rows)[1].Transform, "b");
}

}  // namespace
}  // namespace geoloom::test
