#include "geoloom/session/types/ServiceEndpoints.h"

#include <utility>

#include "geoloom/base/Mutex.h"
#include "geoloom/session/types/ServiceEndpointsDefaults.h"

namespace geoloom {
namespace {

struct Current {
  base::Mutex mutex;
  ServiceEndpoints endpoints GEOLOOM_GUARDED_BY(mutex){
      .production = defaults::PRODUCTION_URL,
      .beta = defaults::BETA_URL,
      .sceneUnderstanding = defaults::SCENE_UNDERSTANDING_URL,
      .tables = defaults::TABLES_URL,
      .metrics = defaults::METRICS_URL};
};

Current& shared() {
  // Not destroyed: sessions live until the process ends.
  static auto* const current = new Current;
  return *current;
}

}  // namespace

ServiceEndpoints ServiceEndpoints::current() {
  Current& held = shared();
  const base::MutexLock lock(held.mutex);
  return held.endpoints;
}

void ServiceEndpoints::setCurrent(ServiceEndpoints endpoints) {
  Current& held = shared();
  const base::MutexLock lock(held.mutex);
  held.endpoints = std::move(endpoints);
}

}  // namespace geoloom
