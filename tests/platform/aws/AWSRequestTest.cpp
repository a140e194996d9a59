#include <gmock/gmock.h>

#include "geoloom/platform/aws/AWSRequest.h"

#include "tests/support/Recorder.h"
#include "tests/support/Scans.h"

namespace geoloom::test {
namespace {

using namespace std::chrono_literals;
using platform::Date;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;

/// The time of a signature minus the system's time.
std::chrono::seconds signedAhead() {
  const platform::HTTPRequest request = platform::awsRequest(*servicesAt("https://example.com"),
                                                             "https://example.com", "dynamodb", "Scan", "{}");
  for (const auto& [name, value] : request.headers) {
    if (name != "X-Amz-Date") continue;
    std::tm parts{};
    strptime(value.c_str(), "%Y%m%dT%H%M%SZ", &parts);
    return std::chrono::round<std::chrono::seconds>(std::chrono::system_clock::from_time_t(timegm(&parts)) -
                                                    std::chrono::system_clock::now());
  }
  ADD_FAILURE() << "not signed";
  return {};
}

TEST(AWSRequest, FollowsTheServiceClockAfterARefusal) {
  LineRecorder lines;
  const auto answer = [](int status, std::chrono::seconds ahead) {
    platform::noteServiceTime(
        {.status = status, .body = {}, .date = std::chrono::system_clock::now() + ahead});
  };
  answer(200, 1h);
  answer(403, 4min);
  platform::noteServiceTime({.status = 403, .body = {}, .date = {}});
  EXPECT_NEAR(static_cast<double>(signedAhead().count()), 0, 2);
  answer(400, 1h);
  EXPECT_NEAR(static_cast<double>(signedAhead().count()), 3600, 2);
  answer(403, 1h);
  EXPECT_EQ(lines.entries().size(), 1U);
  // The device's clock was set right.
  answer(403, 0s);
  EXPECT_NEAR(static_cast<double>(signedAhead().count()), 0, 2);
  answer(403, -2h);
  EXPECT_NEAR(static_cast<double>(signedAhead().count()), -7200, 2);
  EXPECT_THAT(lines.entries(), ElementsAre(MatchesRegex("! The device's clock is 3[56].. s behind .*"),
                                           MatchesRegex("! The device's clock is . s .*"),
                                           MatchesRegex("! The device's clock is 7[12].. s ahead of .*")));
}

}  // namespace
}  // namespace geoloom::test
