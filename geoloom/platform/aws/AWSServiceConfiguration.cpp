#include "geoloom/platform/aws/AWSServiceConfiguration.h"

#include <utility>

namespace geoloom::platform {

std::string_view regionName(AWSRegionType region) {
  switch (region) {
    case AWSRegionUSWest2:
      return "us-west-2";
  }
  return {};
}

AWSStaticCredentialsProvider::AWSStaticCredentialsProvider(std::string accessKey, std::string secretKey)
    : accessKey_(std::move(accessKey)), secretKey_(std::move(secretKey)) {}

AWSServiceConfiguration::AWSServiceConfiguration(
    AWSRegionType serviceRegion, std::shared_ptr<const AWSStaticCredentialsProvider> serviceCredentials,
    AWSServiceEndpoints serviceEndpoints)
    : region(serviceRegion),
      credentialsProvider(std::move(serviceCredentials)),
      endpoints(std::move(serviceEndpoints)) {}

AWSServiceManager& AWSServiceManager::defaultServiceManager() {
  // Never destroyed: queues may still use it while the process ends.
  static AWSServiceManager* const manager = new AWSServiceManager;
  return *manager;
}

}  // namespace geoloom::platform
