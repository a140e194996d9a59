#include "geoloom/platform/aws/AWSCloudWatch.h"

#include <map>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "geoloom/base/ObjectText.h"
#include "geoloom/platform/aws/AWSRequest.h"

namespace geoloom::platform {

namespace {

constexpr std::string_view SERVICE = "monitoring";
constexpr std::string_view PUT_METRIC_DATA_TARGET = "GraniteServiceVersion20100801.PutMetricData";

struct Registry {
  base::Mutex mutex;
  std::map<std::string, std::shared_ptr<const AWSCloudWatch>> clients GEOLOOM_GUARDED_BY(mutex);
};

Registry& registry() {
  // Never destroyed: a session may still send while the process ends.
  static Registry* const value = new Registry;
  return *value;
}

std::string arrayText(const std::vector<std::string>& elements) {
  return fmt::format("[{}]", fmt::join(elements, ","));
}

std::string datumText(const AWSCloudWatchMetricDatum& datum) {
  std::vector<std::string> dimensions;
  for (const AWSCloudWatchDimension& dimension : datum.dimensions)
    dimensions.push_back(base::ObjectText().add("Name", dimension.name).add("Value", dimension.value).text());
  return base::ObjectText()
      .add("MetricName", datum.metricName)
      .addJSON("Dimensions", arrayText(dimensions))
      .add("Value", datum.value)
      .add("Unit", datum.unit == AWSCloudWatchStandardUnitCount ? "Count" : "None")
      .text();
}

}  // namespace

std::string putMetricDataBody(const AWSCloudWatchPutMetricDataInput& input) {
  std::vector<std::string> data;
  for (const AWSCloudWatchMetricDatum& datum : input.metricData) data.push_back(datumText(datum));
  return base::ObjectText().add("Namespace", input.namespace_).addJSON("MetricData", arrayText(data)).text();
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
  auto request =
      awsRequest(*configuration_, configuration_->endpoints.metrics, SERVICE, PUT_METRIC_DATA_TARGET,
                 putMetricDataBody(input), {{"x-amzn-query-mode", "true"}});
  request.ownConnection = true;
  HTTPClient::shared().post(std::move(request), DispatchQueue::global(),
                            [](const base::Result<HTTPResponse>& answer) {
                              if (answer) noteServiceTime(*answer);
                            });
}

}  // namespace geoloom::platform
