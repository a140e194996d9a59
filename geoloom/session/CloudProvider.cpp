#include "geoloom/session/CloudProvider.h"

#include <memory>

#include "geoloom/cloud/CloudAPI.h"
#include "geoloom/platform/aws/AWSCloudWatch.h"
#include "geoloom/platform/aws/AWSServiceConfiguration.h"
#include "geoloom/platform/aws/DeveloperKey.h"
#include "geoloom/session/types/ServiceEndpoints.h"

namespace geoloom {

void configureCloudProvider(const std::string& developerKey) {
  const auto [accessKey, secretKey] = platform::DeveloperKey::pair(developerKey);
  const auto endpoints = ServiceEndpoints::current();
  const auto configuration = std::make_shared<const platform::AWSServiceConfiguration>(
      platform::AWSRegionUSWest2,
      std::make_shared<platform::AWSStaticCredentialsProvider>(accessKey, secretKey),
      platform::AWSServiceEndpoints{.tables = endpoints.tables, .metrics = endpoints.metrics});
  platform::AWSServiceManager::defaultServiceManager().setDefaultServiceConfiguration(configuration);
  platform::AWSCloudWatch::registerCloudWatch(configuration, std::string(CloudAPI::METRICS_CLIENT_KEY));
}

}  // namespace geoloom
