// Requests to the local cloud, several in an input, separated by lines of "===="; RequestText.h has their
// format. The store contains a map and a session; it is kept for several inputs, since creating one takes
// longer than hundreds of requests.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>
#include <unistd.h>

#include "fuzz/Expect.h"
#include "fuzz/Pieces.h"
#include "fuzz/RequestText.h"
#include "localcloud/Maps.h"
#include "localcloud/Service.h"
#include "localcloud/Sessions.h"
#include "localcloud/Store.h"

using namespace geoloom::localcloud;

namespace {

/// In the working directory, which the caller removes.
Store& store() {
  constexpr int INPUTS_A_STORE = 1000;
  static int inputs = 0;
  static std::unique_ptr<Store> instance;
  if (inputs++ % INPUTS_A_STORE == 0) {
    const auto folder = std::filesystem::current_path() / ("store." + std::to_string(getpid()));
    instance.reset();
    std::filesystem::remove_all(folder);
    instance = std::make_unique<Store>(folder);
    instance->write([](Database& database) {
      maps::add(database, {"7f1a", "app", "ada", "room", Location{13.4, 52.5, 40, 5, 5}});
      sessions::add(database, {"90bc", "3d5e", "7f1a"}, 0);
    });
  }
  return *instance;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto now = [] { return geoloom::fuzz::REQUEST_TIME; };
  Store& kept = store();
  const Service open(kept, now, std::nullopt);
  const Service keyed(kept, now, std::string(geoloom::fuzz::REQUEST_KEY));
  for (const std::string_view text : geoloom::fuzz::pieces({reinterpret_cast<const char*>(data), size})) {
    const Request request = geoloom::fuzz::readRequest(text);
    const Answer answer = (request.header("authorization") ? keyed : open).answer(request);
    // 500 would be a failure of the store, which does not fail here.
    GEOLOOM_EXPECT(answer.status >= 200 && answer.status < 500);
    if (answer.contentType.find("json") != std::string::npos && !answer.body.empty()) {
      GEOLOOM_EXPECT(nlohmann::json::accept(answer.body));
    }
  }
  return 0;
}
