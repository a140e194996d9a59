#include "geoloom/platform/aws/AWSCloudWatch.h"

#include <cmath>
#include <cstdint>
#include <map>
#include <utility>

#include <nlohmann/json.hpp>

#include "geoloom/platform/aws/AWSRequest.h"

namespace geoloom::platform {

namespace {

using Body = nlohmann::ordered_json;

constexpr std::string_view service = "monitoring";
constexpr std::string_view putMetricDataTarget = "GraniteServiceVersion20100801.PutMetricData";

struct Registry {
  base::Mutex mutex;
  std::map<std::string, std::shared_ptr<const AWSCloudWatch>> clients GEOLOOM_GUARDED_BY(mutex);
};

Registry& registry() {
  // Never destroyed: a session may still send while the process ends.
  static Registry* const value = new Registry;
  return *value;
}

Body numberJSON(double value) {
  constexpr double exactIntegers = 9007199254740992.0;
  if (std::abs(value) <= exactIntegers && value == std::trunc(value)) return static_cast<std::int64_t>(value);
  return value;
}

Body toJSON(const AWSCloudWatchMetricDatum& datum) {
  Body dimensions = Body::array();
  for (const AWSCloudWatchDimension& dimension : datum.dimensions)
    dimensions.push_back({{"Name", dimension.name}, {"Value", dimension.value}});
  return {{"MetricName", datum.metricName},
          {"Dimensions", std::move(dimensions)},
          {"Value", numberJSON(datum.value)},
          {"Unit", datum.unit == AWSCloudWatchStandardUnitCount ? "Count" : "None"}};
}

}  // namespace

std::string putMetricDataBody(const AWSCloudWatchPutMetricDataInput& input) {
  Body data = Body::array();
  for (const AWSCloudWatchMetricDatum& datum : input.metricData) data.push_back(toJSON(datum));
  const Body body{{"Namespace", input.namespace_}, {"MetricData", std::move(data)}};
  return body.dump(-1, ' ', false, Body::error_handler_t::replace);
}

void AWSCloudWatch::registerCloudWatch(std::shared_ptr<const AWSServiceConfiguration> configuration,
                                       const std::string& key) {
  auto client = std::make_shared<const AWSCloudWatch>(std::move(configuration));
  const base::MutexLock lock(registry().mutex);
  registry().clients[key].swap(client);
}

std::shared_ptr<const AWSCloudWatch> AWSCloudWatch::CloudWatch(const std::string& forKey) {
  const base::MutexLock lock(registry().mutex);
  const auto found = registry().clients.find(forKey);
  return found == registry().clients.end() ? nullptr : found->second;
}

AWSCloudWatch::AWSCloudWatch(std::shared_ptr<const AWSServiceConfiguration> configuration)
    : configuration_(std::move(configuration)) {}

void AWSCloudWatch::putMetricData(const AWSCloudWatchPutMetricDataInput& input) const {
  if (configuration_->endpoints.metrics.empty()) return;
  auto request = awsRequest(*configuration_, configuration_->endpoints.metrics, service, putMetricDataTarget,
                            putMetricDataBody(input), {{"x-amzn-query-mode", "true"}});
  if (!request) return;
  request->ownConnection = true;
  HTTPClient::shared().post(std::move(*request), DispatchQueue::global(), [](const HTTPResponse&) {});
}

}  // namespace geoloom::platform
