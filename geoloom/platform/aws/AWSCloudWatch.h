#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "geoloom/platform/aws/AWSServiceConfiguration.h"

namespace geoloom::platform {

enum AWSCloudWatchStandardUnit { AWSCloudWatchStandardUnitNone, AWSCloudWatchStandardUnitCount };

struct AWSCloudWatchDimension {
  std::string name;
  std::string value;
};

/// One measurement; the service sets the time on arrival.
struct AWSCloudWatchMetricDatum {
  std::string metricName;
  std::vector<AWSCloudWatchDimension> dimensions;
  double value = 0;
  AWSCloudWatchStandardUnit unit = AWSCloudWatchStandardUnitNone;
};

struct AWSCloudWatchPutMetricDataInput {
  std::string namespace_;
  std::vector<AWSCloudWatchMetricDatum> metricData;
};

/// The body of a put request. Invalid UTF-8 is replaced by U+FFFD; a value that is not finite is null.
[[nodiscard]] std::string putMetricDataBody(const AWSCloudWatchPutMetricDataInput& input);

/// A client of the metrics service. May be used from any thread.
class AWSCloudWatch {
 public:
  /// Registers a client of this configuration under the key, replacing an earlier one.
  static void registerCloudWatch(std::shared_ptr<const AWSServiceConfiguration> configuration,
                                 const std::string& key);
  /// The client registered under the key, or nullptr.
  [[nodiscard]] static std::shared_ptr<const AWSCloudWatch> CloudWatch(const std::string& forKey);

  explicit AWSCloudWatch(std::shared_ptr<const AWSServiceConfiguration> configuration);

  /// Sends and returns at once; failures are silent. Does nothing if no metrics service is set.
  void putMetricData(const AWSCloudWatchPutMetricDataInput& input) const;

 private:
  std::shared_ptr<const AWSServiceConfiguration> configuration_;
};

}  // namespace geoloom::platform
