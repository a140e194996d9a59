#include <gmock/gmock.h>

#include "geoloom/platform/aws/AWSCloudWatch.h"

#include "tests/support/Scans.h"
#include "tests/support/SignatureV4.h"

namespace {

using namespace geoloom::platform;
using namespace geoloom::test;

AWSCloudWatchPutMetricDataInput oneCount() {
  return {.namespace_ = "Space",
          .metricData = {{.metricName = "Event",
                          .dimensions = {{.name = "key", .value = "v\xff"}},
                          .value = 1,
                          .unit = AWSCloudWatchStandardUnitCount}}};
}

constexpr char ONE_COUNT_BODY[] =
    R"({"Namespace":"Space","MetricData":[{"MetricName":"Event","Dimensions":[{"Name":"key","Value":"v�"}],)"
    R"("Value":1.0,"Unit":"Count"}]})";

TEST(AWSCloudWatch, WritesBodies) {
  EXPECT_EQ(putMetricDataBody(oneCount()), ONE_COUNT_BODY);
  const AWSCloudWatchMetricDatum odd{.metricName = "a\"b", .dimensions = {}, .value = 0.25};
  const AWSCloudWatchMetricDatum none{
      .metricName = "c", .dimensions = {}, .value = std::numeric_limits<double>::quiet_NaN()};
  EXPECT_EQ(
      putMetricDataBody({.namespace_ = "", .metricData = {odd, none}}),
      R"({"Namespace":"","MetricData":[{"MetricName":"a\"b","Dimensions":[],"Value":0.25,"Unit":"None"},)"
      R"({"MetricName":"c","Dimensions":[],"Value":null,"Unit":"None"}]})");
}

TEST(AWSCloudWatch, FollowsTheProtocol) {
  const FakeService service([](const RecordedRequest&) { return FakeAnswer::json("{}"); });
  EXPECT_EQ(AWSCloudWatch::CloudWatch("key"), nullptr);
  AWSCloudWatch::registerCloudWatch(servicesAt(service.url()), "key");
  const auto client = AWSCloudWatch::CloudWatch("key");
  ASSERT_NE(client, nullptr);
  EXPECT_EQ(AWSCloudWatch::CloudWatch("another key"), nullptr);
  client->putMetricData(oneCount());
  ASSERT_TRUE(service.waitForRequests(1));
  const RecordedRequest sent = service.requests()[0];
  EXPECT_EQ(sent.method + " " + sent.path, "POST /");
  EXPECT_EQ(sent.header("X-Amz-Target"), "GraniteServiceVersion20100801.PutMetricData");
  EXPECT_EQ(sent.header("x-amzn-query-mode"), "true");
  EXPECT_EQ(sent.header("Content-Type"), "application/x-amz-json-1.0");
  EXPECT_EQ(sent.body, ONE_COUNT_BODY);
  EXPECT_EQ(signatureFault(sent, {"access", "secret"}, "monitoring"), "");
}

TEST(AWSCloudWatch, IsReplacedUnderItsKeyAndSilentWithoutAnAddress) {
  const auto answer = [](const RecordedRequest&) { return FakeAnswer::json("{}"); };
  const FakeService service(answer);
  const FakeService old(answer);
  AWSCloudWatch::registerCloudWatch(servicesAt(old.url()), "key");
  AWSCloudWatch::registerCloudWatch(servicesAt(""), "key");
  AWSCloudWatch::CloudWatch("key")->putMetricData(oneCount());
  AWSCloudWatch::registerCloudWatch(servicesAt(service.url()), "key");
  AWSCloudWatch::CloudWatch("key")->putMetricData(oneCount());
  ASSERT_TRUE(service.waitForRequests(1));
  EXPECT_TRUE(old.requests().empty());
}

}  // namespace
