#include "geoloom/platform/aws/AWSServiceConfiguration.h"

#include <algorithm>
#include <utility>

#include "geoloom/platform/aws/SignatureV4.h"

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

std::shared_ptr<const signature::Key> AWSStaticCredentialsProvider::signingKey(
    std::string_view day, std::string_view region, std::string_view service) const {
  const std::string scope = signature::scopeOf(day, region, service);
  const base::MutexLock lock(mutex_);
  const auto kept =
      std::find_if(keys_.begin(), keys_.end(), [&](const auto& key) { return key->scope == scope; });
  if (kept != keys_.end()) return *kept;
  auto key = std::make_shared<const signature::Key>(
      signature::deriveKey(accessKey_, secretKey_, day, region, service));
  std::erase_if(keys_, [&](const auto& old) { return !old->scope.starts_with(day); });
  keys_.push_back(key);
  return key;
}

AWSServiceConfiguration::AWSServiceConfiguration(
    AWSRegionType serviceRegion, std::shared_ptr<const AWSStaticCredentialsProvider> serviceCredentials,
    AWSServiceEndpoints serviceEndpoints)
    : region(serviceRegion),
      credentialsProvider(std::move(serviceCredentials)),
      endpoints(std::move(serviceEndpoints)) {}

AWSServiceManager& AWSServiceManager::defaultServiceManager() {
  // Never destroyed: queues may still ask for it while the process ends.
  static AWSServiceManager* const manager = new AWSServiceManager;
  return *manager;
}

std::shared_ptr<const AWSServiceConfiguration> AWSServiceManager::defaultServiceConfiguration() const {
  const base::MutexLock lock(mutex_);
  return configuration_;
}

void AWSServiceManager::setDefaultServiceConfiguration(
    std::shared_ptr<const AWSServiceConfiguration> configuration) {
  const base::MutexLock lock(mutex_);
  configuration_.swap(configuration);
}

}  // namespace geoloom::platform
