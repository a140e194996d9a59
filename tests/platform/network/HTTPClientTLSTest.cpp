#include <cstdlib>
#include <future>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "geoloom/platform/network/HTTPClient.h"

#include "tests/support/SecureService.h"

namespace {

using geoloom::platform::DispatchQueue;
using geoloom::platform::HTTPClient;
using geoloom::platform::HTTPRequest;
using geoloom::platform::HTTPResponse;
using geoloom::testing::Authority;
using geoloom::testing::Identity;
using geoloom::testing::SecureService;
using testing::IsEmpty;
using testing::Not;

HTTPResponse answerTo(const std::string& url) {
  HTTPRequest request;
  request.url = url;
  request.body = "{}";
  std::promise<HTTPResponse> promise;
  HTTPClient::shared().post(std::move(request), DispatchQueue::global(),
                            [&promise](HTTPResponse response) { promise.set_value(std::move(response)); });
  return promise.get_future().get();
}

class HTTPClientTLS : public testing::Test {
 protected:
  ~HTTPClientTLS() override { HTTPClient::shared().setCertificateAuthorities({}); }

  void trustAuthority() const { HTTPClient::shared().setCertificateAuthorities(authority_.file()); }

  const Authority authority_;
};

TEST_F(HTTPClientTLS, TalksToAServiceThatProvesItsName) {
  const SecureService service(authority_.good);
  trustAuthority();
  EXPECT_EQ(answerTo(service.address()).error, "");
  EXPECT_EQ(service.requests, 1);
}

TEST_F(HTTPClientTLS, SendsNothingToAServiceThatDoesNot) {
  const SecureService unknown(authority_.good);
  EXPECT_THAT(answerTo(unknown.address()).error, Not(IsEmpty())) << "unknown authority";
  EXPECT_EQ(unknown.requests, 0);
  trustAuthority();
  for (const Identity* identity : {&authority_.wrongName, &authority_.expired, &authority_.itself}) {
    const SecureService service(*identity);
    EXPECT_THAT(answerTo(service.address()).error, Not(IsEmpty()));
    EXPECT_EQ(service.requests, 0);
  }
}

TEST_F(HTTPClientTLS, ReadsNoAuthorityFromTheEnvironment) {
  for (const char* name : {"SSL_CERT_FILE", "CURL_CA_BUNDLE"}) setenv(name, authority_.file().c_str(), 1);
  const SecureService service(authority_.good);
  EXPECT_THAT(answerTo(service.address()).error, Not(IsEmpty()));
  EXPECT_EQ(service.requests, 0);
}

}  // namespace
