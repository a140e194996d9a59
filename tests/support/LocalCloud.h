#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "localcloud/Metrics.h"
#include "localcloud/Server.h"
#include "localcloud/Tables.h"
#include "tests/support/TemporaryDirectory.h"

namespace geoloom::test {

/// The local cloud in this process, on a free port of the loopback interface over a fresh store. Link
/// geoloom_localcloud.
class LocalCloud {
 public:
  /// If `developerKey` is present, signatures are verified.
  explicit LocalCloud(const std::optional<std::string>& developerKey = {},
                      localcloud::Now now = &std::chrono::system_clock::now)
      : server_({.data = directory_.path(), .developerKey = developerKey, .now = std::move(now)}) {}

  [[nodiscard]] std::string production() const { return server_.url() + "/prod/maps"; }
  [[nodiscard]] std::string beta() const { return server_.url() + "/beta/maps"; }
  [[nodiscard]] std::string sceneUnderstanding() const {
    return server_.url() + "/dev/scene-understanding/localize";
  }
  [[nodiscard]] std::string tables() const { return server_.url() + "/"; }
  [[nodiscard]] std::string metrics() const { return server_.url() + "/"; }

  /// The records of all metric names and sets of dimensions.
  [[nodiscard]] std::vector<localcloud::MetricRecord> counted() {
    return server_.store().read(localcloud::metrics::all);
  }

  /// The rows of a table, in the form {"SessionId": {"S": "…"}, …}.
  [[nodiscard]] std::vector<nlohmann::json> rows(const std::string& table) {
    std::vector<nlohmann::json> rows;
    const auto keep = [&](const localcloud::ItemRecord& item) {
      rows.push_back(nlohmann::json::parse(item.text));
      return true;
    };
    server_.store().read([&](localcloud::Database& database) {
      localcloud::tables::scan(database, table, std::nullopt, std::nullopt, keep);
    });
    return rows;
  }

 private:
  TemporaryDirectory directory_;
  localcloud::Server server_;
};

}  // namespace geoloom::test
