#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "localcloud/Database.h"

namespace geoloom::localcloud {

/// Number and sum of the samples of one metric name and one set of dimensions.
struct MetricRecord {
  std::string space;
  std::string name;
  std::string dimensions;  ///< JSON array of {"Name", "Value"}
  std::int64_t samples = 0;
  double sum = 0;
};

/// Stored metric sums. Each function runs within Store::read or Store::write and throws DatabaseError.
namespace metrics {

inline constexpr const char* SCHEMA = R"sql(
CREATE TABLE metrics (
  space TEXT NOT NULL,
  name TEXT NOT NULL,
  dimensions TEXT NOT NULL,
  samples INTEGER NOT NULL,
  sum REAL NOT NULL,
  PRIMARY KEY (space, name, dimensions)
) WITHOUT ROWID;
)sql";

/// Adds samples and sum to the record with the same name and dimensions.
void add(Database& database, const MetricRecord& metric);
[[nodiscard]] std::vector<MetricRecord> all(Database& database);

}  // namespace metrics
}  // namespace geoloom::localcloud
