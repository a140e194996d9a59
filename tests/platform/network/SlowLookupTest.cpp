#include <chrono>
#include <future>
#include <string_view>
#include <thread>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include "geoloom/platform/network/HTTPClient.h"

#include "tests/support/FakeService.h"

namespace {

using namespace std::chrono_literals;
using namespace geoloom::platform;
using geoloom::test::FakeAnswer;
using geoloom::test::FakeService;
using geoloom::test::RecordedRequest;

constexpr auto LOOKUP = 4s;

using Answer = geoloom::base::Result<HTTPResponse>;

std::future<Answer> post(std::string url, std::chrono::milliseconds deadline) {
  HTTPRequest request;
  request.url = std::move(url);
  request.body = "{}";
  request.deadline = deadline;
  auto promise = std::make_shared<std::promise<Answer>>();
  HTTPClient::shared().post(std::move(request), DispatchQueue::global(),
                            [promise](Answer answer) { promise->set_value(std::move(answer)); });
  return promise->get_future();
}

}  // namespace

/// Replaces the system's function in this program: the lookup of "hangs.example" hangs.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* node, const char* service,
                                                                  const addrinfo* hints, addrinfo** result) {
  if (node != nullptr && std::string_view(node) == "hangs.example") {
    std::this_thread::sleep_for(LOOKUP);
    return EAI_AGAIN;
  }
  static const auto system = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return system(node, service, hints, result);
}

namespace {

TEST(HTTPClient, HangingLookupDelaysOnlyItsOwnRequest) {
  const FakeService service([](const RecordedRequest&) { return FakeAnswer::json("{}"); });
  const auto began = std::chrono::steady_clock::now();
  auto slow = post("https://hangs.example/", 500ms);
  // One after the other, until after the slow one has ended.
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(post(service.url(), 10s).get()->status, 200);
    std::this_thread::sleep_for(100ms);
  }
  EXPECT_FALSE(slow.get());
  EXPECT_LT(std::chrono::steady_clock::now() - began, LOOKUP - 500ms);
}

}  // namespace
