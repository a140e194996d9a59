#include <iterator>

#include "fuzz/Pieces.h"
#include "fuzz/RequestText.h"
#include "localcloud/Maps.h"
#include "localcloud/Sessions.h"
#include "tests/localcloud/ServiceFixture.h"

namespace geoloom::localcloud {
namespace {

/// A fuzzer that starts from a refused request explores the refusal only, so these seeds must be accepted.
/// Seeds to be refused are in "others".
TEST(FuzzSeedsTest, AreAccepted) {
  for (const std::string name : {"maps", "tables", "signed", "localization"}) {
    const test::TemporaryDirectory directory;
    Store store(directory.path());
    store.write([](Database& database) {
      maps::add(database, {"7f1a", "app", "ada", "room", Location{13.4, 52.5, 40, 5, 5}});
      sessions::add(database, {"90bc", "3d5e", "7f1a"}, secondsSince1970(fuzz::REQUEST_TIME));
    });
    const auto now = [] { return fuzz::REQUEST_TIME; };
    const Service open(store, now, std::nullopt);
    const Service keyed(store, now, std::string(fuzz::REQUEST_KEY));
    std::ifstream file(std::filesystem::path(GEOLOOM_FUZZ_CORPUS) / "LocalCloudRequest" / name,
                       std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    ASSERT_FALSE(text.empty()) << name;
    for (const std::string_view piece : fuzz::pieces(text)) {
      const Request request = fuzz::readRequest(piece);
      const Answer answer = (request.header("authorization") ? keyed : open).answer(request);
      EXPECT_EQ(answer.status, 200) << name << ": " << piece << answer.body;
    }
  }
}

}  // namespace
}  // namespace geoloom::localcloud
