// Requests to the local cloud, several to an input between lines of "====". A request is its first line
// ("POST /target"), headers, an empty line and the body. The store holds a map and a session; it is kept for
// some inputs, as making one takes longer than hundreds of requests.

#include <chrono>
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
#include "localcloud/Service.h"
#include "localcloud/Store.h"

using namespace geoloom::localcloud;

namespace {

/// Takes the text up to `end`, which is taken too and left out.
std::string_view taken(std::string_view& text, std::string_view end) {
  const std::size_t at = text.find(end);
  const std::string_view result = text.substr(0, at);
  text.remove_prefix(at == std::string_view::npos ? text.size() : at + end.size());
  return result;
}

Request readRequest(std::string_view text) {
  Request request;
  request.method = taken(text, " ");
  request.target = taken(text, "\n");
  while (!text.empty()) {
    std::string_view line = taken(text, "\n");
    if (line.empty()) break;
    const std::string name(taken(line, ": "));
    request.headers.emplace(name, line);
  }
  request.body = text;
  return request;
}

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
    instance->addMap({"7f1a", "app", "ada", "room", Location{13.4, 52.5, 40, 5, 5}});
    instance->openLocalizationSession("90bc", "app", "room");
  }
  return *instance;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Service service(
      store(), [] { return std::chrono::system_clock::time_point(std::chrono::hours(490'000)); },
      std::nullopt);
  for (const std::string_view text : geoloom::fuzz::pieces({reinterpret_cast<const char*>(data), size})) {
    const Answer answer = service.answer(readRequest(text));
    // 500 would be a failure of the store, and there is none.
    GEOLOOM_EXPECT(answer.status >= 200 && answer.status < 500);
    if (answer.contentType.find("json") != std::string::npos && !answer.body.empty()) {
      GEOLOOM_EXPECT(nlohmann::json::accept(answer.body));
    }
  }
  return 0;
}
