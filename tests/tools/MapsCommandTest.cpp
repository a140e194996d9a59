#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "geoloom/base/ReadFile.h"
#include "geoloom/platform/foundation/FileManager.h"

#include "tests/support/FakeService.h"
#include "tests/support/SecureService.h"
#include "tools/commands/Commands.h"

namespace geoloom::tools {
namespace {

using geoloom::test::FakeAnswer;
using geoloom::test::FakeService;
using geoloom::test::RecordedRequest;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

struct Outcome {
  int code = 0;
  std::string said;    ///< on standard output
  std::string errors;  ///< on standard error, with the line of a failure
};

class MapsNear : public ::testing::Test {
 protected:
  void SetUp() override { platform::FileManager::setStateDirectory(directory_.path() / "state"); }

  static Outcome run(const std::string& service, std::vector<std::string> more = {}) {
    CLI::App app;
    addMapsCommand(app);
    std::vector<std::string> arguments = {"maps", "near", "1.5", "--", "-2"};
    arguments.insert(arguments.begin() + 2, {"--service", service});
    arguments.insert(arguments.begin() + 2, more.begin(), more.end());
    std::reverse(arguments.begin(), arguments.end());  // as CLI11 wants a vector
    Outcome outcome;
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    std::string failure;
    try {
      app.parse(std::move(arguments));
    } catch (const CommandError& error) {
      outcome.code = static_cast<int>(error.code());
      failure = error.what();
    }
    outcome.said = ::testing::internal::GetCapturedStdout();
    outcome.errors = ::testing::internal::GetCapturedStderr() + failure;
    return outcome;
  }

  test::TemporaryDirectory directory_;
};

TEST_F(MapsNear, PrintsMapsWithoutObeyingTheirNames) {
  const FakeService service([](const RecordedRequest&) {
    return FakeAnswer::json(
        R"([{"user_id":"anna","map_id":"kit\u001b[31m\nchen","latitude":1.5,"longitude":-2,
      "altitude":3,"vertical_accuracy":4,"horizontal_accuracy":5},{"map_id":"incomplete"}])");
  });
  const std::string file = (directory_.path() / "maps.json").string();
  const Outcome outcome = run(service.url(), {"--of", "anna", "--span", "0.25", "--json", file});
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.said, "kit\\u{1b}[31m\\nchen  user anna  at 1.500000 -2.000000, 3.0 m, +-5.0 m\n");
  EXPECT_EQ(outcome.errors, "");
  const auto requests = service.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].path, "/prod/maps/list_nearby_maps");
  const auto body = requests[0].json();
  EXPECT_EQ(body.at("latitude"), 1.5);
  EXPECT_EQ(body.at("longitude"), -2);
  EXPECT_EQ(body.at("latitude_delta"), 0.25);
  EXPECT_EQ(body.at("longitude_delta"), 0.25);
  EXPECT_EQ(body.at("user_id"), "anna");
  EXPECT_THAT(base::contentOf(file), HasSubstr(R"("map": "kit\u001b[31m\nchen")"));
}

TEST_F(MapsNear, DistinguishesNoMapsFromNoAnswer) {
  const std::tuple<FakeAnswer, int, const char*> cases[] = {
      {FakeAnswer::json("[]"), 0, "no maps within 0.05 degrees of 1.5 -2\n"},
      {FakeAnswer::json(R"({"errorMessage":"developer_key is not known"})", 403), 4,
       "refused with HTTP 403: developer_key is not known"},
      {FakeAnswer::json(R"({"message":"Internal server error"})", 500), 4, "Internal server error"},
      {FakeAnswer::json(R"([{"map_id":"torn"}])"), 4, R"(not a list of maps: [{"map_id":"torn"}])"},
      {FakeAnswer::json("7"), 4, "not a list of maps: 7"},
      {FakeAnswer::json("<html>", 502), 4, "HTTP 502 without a JSON body"},
      {FakeAnswer::reset(), 4, "no answer: "},
  };
  for (const auto& [answer, code, line] : cases) {
    const FakeService service([&said = answer](const RecordedRequest&) { return said; });
    const Outcome outcome = run(service.url());
    EXPECT_EQ(outcome.code, code) << line;
    EXPECT_EQ(outcome.said, "");
    EXPECT_THAT(outcome.errors, HasSubstr(line));
    const std::string named = code == 0 ? "no maps" : service.url("/prod/maps: ");
    EXPECT_THAT(outcome.errors, AllOf(StartsWith(named), Not(HasSubstr("start the service"))));
  }
  const int port = geoloom::test::unusedPort();
  const Outcome silent = run(fmt::format("http://127.0.0.1:{}", port));
  EXPECT_EQ(silent.code, 4);
  EXPECT_THAT(silent.errors, HasSubstr("no answer: "));
  EXPECT_THAT(silent.errors, EndsWith(fmt::format("start the service: geoloom-localcloud --port {}", port)));
}

TEST_F(MapsNear, TrustsTheAuthoritiesItIsGiven) {
  const geoloom::test::Authority authority;
  const geoloom::test::SecureService service(authority.good);
  EXPECT_THAT(run(service.address()).errors, HasSubstr("no answer: "));
  EXPECT_EQ(run(service.address(), {"--certificate-authorities", "/nowhere"}).code, 3);
  EXPECT_EQ(run(service.address(), {"--certificate-authorities", authority.file()}).code, 0);
  EXPECT_EQ(service.requests, 1);
}

}  // namespace
}  // namespace geoloom::tools
