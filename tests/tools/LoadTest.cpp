#include <gmock/gmock.h>

#include "localcloud/Server.h"
#include "tests/support/TemporaryDirectory.h"
#include "tools/load/Load.h"

namespace geoloom::tools {
namespace {

using ::testing::HasSubstr;

TEST(Load, SessionsOpenPollAndSaveRows) {
  const test::TemporaryDirectory directory;
  const localcloud::Server server({.data = directory.path()});
  LoadOptions options{.service = server.url(),
                      .sessions = 5,
                      .ramp = std::chrono::seconds(0),
                      .duration = std::chrono::seconds(2),
                      .rowsPerSecond = 2};
  const auto result = runLoad(options, [](const std::string&) {});
  ASSERT_TRUE(result) << result.failure().message;
  EXPECT_EQ(result->sessions, 5U);
  for (const OperationLoad& operation : result->operations) {
    EXPECT_EQ(operation.errors, 0U) << operation.name;
    EXPECT_EQ(operation.times.empty(), operation.name == "localize")
        << operation.name << ", which comes after 8 s";
    EXPECT_LE(operation.quantile(0.5), operation.quantile(1));
  }
  for (const char* const address : {"http://127.0.0.1:1", "https://service.example"}) {
    options.service = address;
    const auto failed = runLoad(options, [](const std::string&) {});
    ASSERT_FALSE(failed);
    EXPECT_THAT(failed.failure().message, HasSubstr(address));
  }
}

}  // namespace
}  // namespace geoloom::tools
