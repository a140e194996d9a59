#include <gmock/gmock.h>

#include "geoloom/platform/aws/AWSServiceConfiguration.h"
#include "geoloom/platform/aws/SignatureV4.h"

namespace {

using namespace geoloom::platform;
using testing::HasSubstr;

/// The header of that name, or the empty text.
std::string header(const HTTPRequest& request, const std::string& name) {
  for (const auto& [other, value] : request.headers)
    if (other == name) return value;
  return {};
}

HTTPRequest signedRequest(const std::string& url,
                          std::vector<std::pair<std::string, std::string>> headers = {}) {
  HTTPRequest request;
  request.url = url;
  request.headers = std::move(headers);
  request.contentType = "application/x-www-form-urlencoded";
  request.body = "Param1=value1";
  const AWSStaticCredentialsProvider credentials("AKIDEXAMPLE", "wJalrXUtnFEMI/K7MDENG+bPxRfiCYEXAMPLEKEY");
  signature::sign(request, {credentials, "us-east-1", "service"}, "20150830T123600Z");
  return request;
}

/// The signature in its header.
std::string signatureOf(const HTTPRequest& request) {
  const std::string authorization = header(request, "Authorization");
  return authorization.substr(authorization.rfind('=') + 1);
}

// The signature that the provider publishes with its description.
TEST(SignatureV4, MatchesThePublishedExample) {
  EXPECT_EQ(header(signedRequest("https://example.amazonaws.com/"), "Authorization"),
            "AWS4-HMAC-SHA256 Credential=AKIDEXAMPLE/20150830/us-east-1/service/aws4_request, "
            "SignedHeaders=content-type;host;x-amz-date, "
            "Signature=ff11897932ad3f4e8b18135d722051e5ac45fc38421b1da7b9d196a0fe09473a");
}

// The signatures are those of @smithy/signature-v4 3 for the same requests. A path is sent encoded, and
// signed encoded once more.
TEST(SignatureV4, SignsTheCanonicalForm) {
  const std::string service = "https://example.amazonaws.com";
  EXPECT_EQ(signatureOf(signedRequest(service + "/%61%20b")),
            "fffcb23c5577bc8e1e44bfb986cbcad91e04fe423e2fd89ac5d7aa008bdb1528");
  EXPECT_EQ(signatureOf(signedRequest(service + "/%C3%A9")),
            "39a59f85b4187ebb0f9dea56e202a4d9e21ad43c715fc00c4483415f9dbb4d98");
  for (const char* const path : {"/%c3%a9", "/\xc3\xa9"})
    EXPECT_EQ(signatureOf(signedRequest(service + path)),
              "ba80636bfe3d0ab564f443ad9dfeae1af8d8cc81e037673af53f87856e873195")
        << path;
  EXPECT_EQ(signatureOf(signedRequest(service + "/?a=1&b=2")),
            "c1bb59c66ed0e376be431c14d76dda502c5f51be6b6320d1f465b4d15fa8eeb8");
  const HTTPRequest many = signedRequest(service + "/", {{"X-B", "  a   b "}, {"x-a", "1"}});
  EXPECT_THAT(header(many, "Authorization"),
              HasSubstr("SignedHeaders=content-type;host;x-a;x-amz-date;x-b, "));
  EXPECT_EQ(signatureOf(many), "b15c88ed62497a6752629d4c0c41da1978db1321eb12943b502ab77ebac16e32");
}

TEST(SignatureV4, SignsTheHostAsSent) {
  for (const auto& [url, host] : {std::pair("https://example.com:443/a", "example.com"),
                                  {"http://127.0.0.1:8123/a", "127.0.0.1:8123"},
                                  {"http://[::1]:8123", "[::1]:8123"}})
    EXPECT_EQ(header(signedRequest(url), "Host"), host);
}

TEST(SignatureV4, WritesTimes) {
  using namespace std::chrono;
  EXPECT_EQ(signature::timeText(sys_days(year(2015) / 8 / 30) + 12h + 36min + 7s + 999ms),
            "20150830T123607Z");
  EXPECT_EQ(signature::timeText(Date{}), "19700101T000000Z");
}

}  // namespace
