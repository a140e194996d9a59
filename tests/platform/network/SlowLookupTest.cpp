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

constexpr auto lookup = 4s;

std::future<HTTPResponse> post(std::string url, std::chrono::milliseconds deadline) {
  HTTPRequest request;
  request.url = std::move(url);
  request.body = "{}";
  request.deadline = deadline;
  auto promise = std::make_shared<std::promise<HTTPResponse>>();
  HTTPClient::shared().post(std::move(request), DispatchQueue::global(),
                            [promise](HTTPResponse response) { promise->set_value(std::move(response)); });
  return promise->get_future();
}

}  // namespace

/// In this program before the system's: a name whose servers do not answer.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* node, const char* service,
                                                                  const addrinfo* hints, addrinfo** result) {
  if (node != nullptr && std::string_view(node) == "hangs.example") {
    std::this_thread::sleep_for(lookup);
    return EAI_AGAIN;
  }
  static const auto system = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return system(node, service, hints, result);
}

namespace {

TEST(HTTPClient, ALookupThatHangsHoldsUpItsOwnRequestOnly) {
  const FakeService service([](const RecordedRequest&) { return FakeAnswer::json("{}"); });
  const auto began = std::chrono::steady_clock::now();
  auto slow = post("https://hangs.example/", 500ms);
  // Each after the other, and past the end of the slow one.
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(post(service.url(), 10s).get().status, 200);
    std::this_thread::sleep_for(100ms);
  }
  EXPECT_NE(slow.get().error, "");
  EXPECT_LT(std::chrono::steady_clock::now() - began, lookup - 500ms);
}

}  // namespace
