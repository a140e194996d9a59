#include "geoloom/session/ServiceEndpoints.h"

#include <mutex>
#include <utility>

#include "geoloom/session/ServiceEndpointsDefaults.h"

namespace geoloom {
namespace {

struct Current {
  std::mutex mutex;
  ServiceEndpoints endpoints{.production = defaults::PRODUCTION_URL,
                             .beta = defaults::BETA_URL,
                             .sceneUnderstanding = defaults::SCENE_UNDERSTANDING_URL,
                             .tables = defaults::TABLES_URL,
                             .metrics = defaults::METRICS_URL};
};

Current& shared() {
  // Sessions live until the process ends, so this must too.
  static auto* const current = new Current;
  return *current;
}

}  // namespace

ServiceEndpoints ServiceEndpoints::current() {
  const std::lock_guard lock(shared().mutex);
  return shared().endpoints;
}

void ServiceEndpoints::setCurrent(ServiceEndpoints endpoints) {
  const std::lock_guard lock(shared().mutex);
  shared().endpoints = std::move(endpoints);
}

}  // namespace geoloom
