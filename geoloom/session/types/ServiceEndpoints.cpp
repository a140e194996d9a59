#include "geoloom/session/types/ServiceEndpoints.h"

#include <utility>

#include "geoloom/base/AtomicValue.h"
#include "geoloom/session/types/ServiceEndpointsDefaults.h"

namespace geoloom {
namespace {

base::AtomicValue<ServiceEndpoints>& shared() {
  // Not destroyed: sessions live until the process ends.
  static auto& endpoints =
      *new base::AtomicValue<ServiceEndpoints>({.production = defaults::PRODUCTION_URL,
                                                .beta = defaults::BETA_URL,
                                                .sceneUnderstanding = defaults::SCENE_UNDERSTANDING_URL,
                                                .tables = defaults::TABLES_URL,
                                                .metrics = defaults::METRICS_URL});
  return endpoints;
}

}  // namespace

ServiceEndpoints ServiceEndpoints::withService(std::string address) {
  while (address.ends_with('/')) address.pop_back();
  return {.production = address + "/prod/maps",
          .beta = address + "/beta/maps",
          .sceneUnderstanding = address + "/dev/scene-understanding/localize",
          .tables = address,
          .metrics = address};
}

ServiceEndpoints ServiceEndpoints::current() {
  return shared().load();
}

void ServiceEndpoints::setCurrent(ServiceEndpoints endpoints) {
  shared().store(std::move(endpoints));
}

}  // namespace geoloom
