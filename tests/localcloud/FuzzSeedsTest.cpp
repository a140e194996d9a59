#include <iterator>

#include "fuzz/Pieces.h"
#include "fuzz/RequestText.h"
#include "tests/localcloud/ServiceFixture.h"

namespace geoloom::localcloud {
namespace {

/// A request that is refused leads a fuzzer no further than the refusal, so those that it starts from must
/// not be; what is to be refused stands in "others".
TEST(FuzzSeedsTest, RequestsReachTheOperationsTheyName) {
  for (const std::string name : {"maps", "tables", "signed", "localization"}) {
    const test::TemporaryDirectory directory;
    Store store(directory.path());
    store.addMap({"7f1a", "app", "ada", "room", Location{13.4, 52.5, 40, 5, 5}});
    store.openLocalizationSession("90bc", "app", "room");
    const auto now = [] { return fuzz::requestTime; };
    const Service open(store, now, std::nullopt);
    const Service keyed(store, now, std::string(fuzz::requestKey));
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
