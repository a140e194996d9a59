#include "localcloud/Metrics.h"

namespace geoloom::localcloud::metrics {

void add(Database& database, const MetricRecord& metric) {
  Query(database,
        "INSERT INTO metrics VALUES (?, ?, ?, ?, ?) ON CONFLICT (space, name, dimensions)"
        " DO UPDATE SET samples = samples + excluded.samples, sum = sum + excluded.sum",
        metric.space, metric.name, metric.dimensions, metric.samples, metric.sum)
      .run();
}

std::vector<MetricRecord> all(Database& database) {
  Query query(database,
              "SELECT space, name, dimensions, samples, sum FROM metrics ORDER BY space, name, dimensions");
  std::vector<MetricRecord> metrics;
  while (query.next()) {
    metrics.push_back({.space = query.text(0),
                       .name = query.text(1),
                       .dimensions = query.text(2),
                       .samples = query.integer(3),
                       .sum = query.real(4)});
  }
  return metrics;
}

}  // namespace geoloom::localcloud::metrics
