#include <gmock/gmock.h>

#include "localcloud/SignatureVerifier.h"
#include "tests/localcloud/ServiceFixture.h"

namespace geoloom::localcloud {
namespace {

using ::testing::EndsWith;
using ::testing::StartsWith;

/// Starts from the example in the published description of the signing scheme.
class SignatureVerifierTest : public ::testing::Test {
 protected:
  static Request example() {
    return {.method = "GET",
            .target = "/?Action=ListUsers&Version=2010-05-08",
            .headers = {{"content-type", "application/x-www-form-urlencoded; charset=utf-8"},
                        {"host", "iam.amazonaws.com"},
                        {"x-amz-date", "20150830T123600Z"},
                        {"authorization",
                         "AWS4-HMAC-SHA256 Credential=AKIDEXAMPLE/20150830/us-east-1/iam/aws4_request, "
                         "SignedHeaders=content-type;host;x-amz-date, "
                         "Signature=5d672d79c15b13162d9279b0855cfba6789a8edb4c82c400e06b5924a6f2b5d7"}},
            .body = {}};
  }

  std::string check(const Request& request, std::string_view service = "iam") {
    const auto refusal = verifier_.check(request, service, now_);
    return refusal ? refusal->type.substr(refusal->type.find('#') + 1) : "accepted";
  }

  static Request changed(const std::string& header, const std::string& from, const std::string& to) {
    Request request = example();
    std::string& value = request.headers.find(header)->second;
    const std::size_t at = value.find(from);
    EXPECT_NE(at, std::string::npos);
    value.replace(at, from.size(), to);
    return request;
  }

  SignatureVerifier verifier_{
      {.accessKey = "AKIDEXAMPLE", .secretKey = "wJalrXUtnFEMI/K7MDENG+bPxRfiCYEXAMPLEKEY"}};
  std::chrono::system_clock::time_point now_ = std::chrono::sys_days(std::chrono::year(2015) / 8 / 30) +
                                               std::chrono::hours(12) + std::chrono::minutes(36);
};

TEST_F(SignatureVerifierTest, RefusesAnyChange) {
  EXPECT_EQ(check(changed("authorization", "2b5d7", "2b5d8")), "InvalidSignatureException");
  EXPECT_EQ(check(changed("host", "iam", "sts")), "InvalidSignatureException");
  EXPECT_EQ(check(changed("authorization", "us-east-1", "us-west-2")), "InvalidSignatureException");
  EXPECT_EQ(check(changed("authorization", "AKIDEXAMPLE", "AKIDOTHER")), "UnrecognizedClientException");
  Request request = example();
  request.body = "x";
  EXPECT_EQ(check(request), "InvalidSignatureException");
  request = example();
  request.method = "POST";
  EXPECT_EQ(check(request), "InvalidSignatureException");
  request = example();
  request.target += "&x";
  EXPECT_EQ(check(request), "InvalidSignatureException");
  EXPECT_EQ(check(example(), "dynamodb"), "InvalidSignatureException");
}

TEST_F(SignatureVerifierTest, RequiresHostAndTargetToBeSigned) {
  Request request = example();
  request.headers.emplace("x-amz-target", "DynamoDB_20120810.Scan");
  EXPECT_EQ(check(request), "InvalidSignatureException");
  EXPECT_EQ(check(changed("authorization", "content-type;host;", "content-type;")),
            "InvalidSignatureException");
}

TEST_F(SignatureVerifierTest, IsValidForFifteenMinutes) {
  const auto signedAt = now_;
  for (const int sign : {-1, 1}) {
    now_ = signedAt + sign * std::chrono::minutes(15);
    EXPECT_EQ(check(example()), "accepted");
    now_ += sign * std::chrono::seconds(1);
    EXPECT_EQ(check(example()), "InvalidSignatureException");
  }
}

TEST_F(SignatureVerifierTest, HandlesTimesBeyondTheSystemClocksRange) {
  for (const auto& [day, says] : {std::pair("00000101", "Signature expired"),
                                  {"16770920", "Signature expired"},
                                  {"22620412", "Signature not yet current"},
                                  {"99991231", "Signature not yet current"}}) {
    Request request = changed("authorization", "20150830", day);
    request.headers.find("x-amz-date")->second = std::string(day) + "T000000Z";
    const auto refusal = verifier_.check(request, "iam", now_);
    ASSERT_TRUE(refusal) << day;
    EXPECT_THAT(refusal->message, StartsWith(says)) << day;
  }
}

TEST_F(SignatureVerifierTest, RefusesMalformedSignatures) {
  Request request = example();
  request.headers.erase("authorization");
  EXPECT_EQ(check(request), "MissingAuthenticationTokenException");
  for (const char* const text :
       {"", "Basic abc", "AWS4-HMAC-SHA256", "AWS4-HMAC-SHA256 Credential=a/b", "AWS4-HMAC-SHA256 ,,,=",
        "AWS4-HMAC-SHA256 Credential=AKIDEXAMPLE/20150830/us-east-1/iam/aws4_request, SignedHeaders=host"}) {
    request = example();
    request.headers.find("authorization")->second = text;
    EXPECT_EQ(check(request), "IncompleteSignatureException") << text;
  }
  for (const char* const time : {"", "20150830", "2015-08-30T12:36:00Z", "20159930T123600Z",
                                 "20150830T993600Z", "-0011124T000000Z", "20150830T-93600Z"}) {
    request = example();
    request.headers.find("x-amz-date")->second = time;
    EXPECT_EQ(check(request), "IncompleteSignatureException") << time;
  }
}

class KeyedServiceTest : public ServiceFixture {
 protected:
  KeyedServiceTest() : ServiceFixture("abc") {}
};

TEST_F(KeyedServiceTest, RequiresSignaturesForTablesAndMetrics) {
  EXPECT_THAT(table("ListTables", JSON::object()).value("__type", ""),
              EndsWith("#MissingAuthenticationTokenException"));
  EXPECT_EQ(status_, 400);
  EXPECT_THAT(metric("ListMetrics", JSON::object()).value("__type", ""),
              EndsWith("#MissingAuthenticationTokenException"));
}

}  // namespace
}  // namespace geoloom::localcloud
