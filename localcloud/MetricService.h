#pragma once

#include <string>
#include <string_view>

#include "localcloud/Message.h"
#include "localcloud/Store.h"

namespace geoloom::localcloud {

/// Metric operations: PutMetricData and ListMetrics of the metrics service's JSON protocol, version
/// 2010-08-01. Stores counts and sums, not single data points. Called from any thread. Throws DatabaseError
/// when the store fails.
class MetricService {
 public:
  static constexpr std::string_view TARGET_PREFIX = "GraniteServiceVersion20100801.";

  explicit MetricService(Store& store) : store_(store) {}

  /// `operation` is the target without its prefix.
  [[nodiscard]] Answer answer(std::string_view operation, const std::string& body) const;

  /// An error in the metrics service's form.
  [[nodiscard]] static Answer error(int status, std::string_view type, std::string_view message);

 private:
  Store& store_;
};

}  // namespace geoloom::localcloud
