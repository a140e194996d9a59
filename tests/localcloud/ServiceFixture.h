#pragma once

#include <chrono>
#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "localcloud/Service.h"
#include "tests/support/TemporaryDirectory.h"

namespace geoloom::localcloud {

/// The service over a fresh store, without a socket. The tests set the time.
class ServiceFixture : public ::testing::Test {
 protected:
  using JSON = nlohmann::json;

  explicit ServiceFixture(const std::optional<std::string>& developerKey = {})
      : store_(directory_.path()),
        service_(
            store_, [this] { return now_; }, developerKey) {}

  Answer post(const std::string& target, const std::string& body, const std::string& operation = {}) {
    Request request{.method = "POST", .target = target, .headers = {}, .body = body};
    if (!operation.empty()) request.headers.emplace("x-amz-target", operation);
    return service_.answer(request);
  }

  /// A mapping operation of the production address.
  JSON map(const std::string& operation, const JSON& body) { return at("/prod/maps/" + operation, body); }
  JSON at(const std::string& path, const JSON& body) { return JSON::parse(post(path, body.dump()).body); }

  /// A table operation; sets `status_`.
  JSON table(const std::string& operation, const JSON& body) {
    const Answer answer = post("/", body.dump(), "DynamoDB_20120810." + operation);
    status_ = answer.status;
    return JSON::parse(answer.body);
  }
  JSON metric(const std::string& operation, const JSON& body) {
    const Answer answer = post("/", body.dump(), "GraniteServiceVersion20100801." + operation);
    status_ = answer.status;
    return JSON::parse(answer.body);
  }

  /// The group of fields that several operations share.
  static JSON common(const std::string& app = "app") {
    return {{"app_id", app},         {"developer_key", "hash"}, {"pod_version", "v0.1.10"},
            {"data_version", "0.3"}, {"device_version", "12"},  {"device_model", "Simulator"}};
  }
  static JSON create(const std::string& mapID, const std::string& user = "user",
                     const std::string& app = "app") {
    JSON body = common(app);
    body["user_id"] = user;
    body["map_id"] = mapID;
    return body;
  }
  static JSON createAt(const std::string& mapID, double latitude, double longitude,
                       const std::string& user = "user") {
    JSON body = create(mapID, user);
    body.update(
        {{"lat", latitude}, {"long", longitude}, {"alt", 7.5}, {"horAccuracy", 3}, {"verAccuracy", 4}});
    return body;
  }

  test::TemporaryDirectory directory_;
  std::chrono::system_clock::time_point now_{std::chrono::seconds(1'700'000'000)};
  Store store_;
  Service service_;
  int status_ = 0;
};

}  // namespace geoloom::localcloud
