#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "geoloom/base/AtomicValue.h"

namespace geoloom::platform {

enum AWSRegionType { AWSRegionUSWest2 };

/// The region's name on the wire: "us-west-2".
[[nodiscard]] std::string_view regionName(AWSRegionType region);

/// A credential pair that does not change. Never printed. May be used from any thread.
class AWSStaticCredentialsProvider {
 public:
  AWSStaticCredentialsProvider(std::string accessKey, std::string secretKey);

  [[nodiscard]] const std::string& accessKey() const { return accessKey_; }
  [[nodiscard]] const std::string& secretKey() const { return secretKey_; }

 private:
  const std::string accessKey_;
  const std::string secretKey_;
};

/// The addresses of the provider's services: "https://<host>", or plain HTTP to a loopback address. Without
/// one, table requests fail and metrics are not sent.
struct AWSServiceEndpoints {
  std::string tables;
  std::string metrics;
};

/// The settings of a client of the provider's services. Immutable, shared by the clients.
struct AWSServiceConfiguration {
  AWSServiceConfiguration(AWSRegionType serviceRegion,
                          std::shared_ptr<const AWSStaticCredentialsProvider> serviceCredentials,
                          AWSServiceEndpoints serviceEndpoints);

  const AWSRegionType region;
  const std::shared_ptr<const AWSStaticCredentialsProvider> credentialsProvider;
  const AWSServiceEndpoints endpoints;
  /// Deadline of each request, from the call to the last byte of the answer.
  std::chrono::milliseconds timeoutIntervalForRequest = std::chrono::seconds(10);
};

/// Holds the default configuration of clients. May be used from any thread.
class AWSServiceManager {
 public:
  [[nodiscard]] static AWSServiceManager& defaultServiceManager();

  /// The configuration set last; nullptr before the first.
  [[nodiscard]] std::shared_ptr<const AWSServiceConfiguration> defaultServiceConfiguration() const {
    return configuration_.load();
  }
  void setDefaultServiceConfiguration(std::shared_ptr<const AWSServiceConfiguration> configuration) {
    configuration_.store(std::move(configuration));
  }

  AWSServiceManager(const AWSServiceManager&) = delete;
  AWSServiceManager& operator=(const AWSServiceManager&) = delete;

 private:
  AWSServiceManager() = default;
  base::AtomicValue<std::shared_ptr<const AWSServiceConfiguration>> configuration_;
};

}  // namespace geoloom::platform
