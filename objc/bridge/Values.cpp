#include "objc/bridge/Values.h"

#include "geoloom/session/types/DetectedObject.h"
#include "geoloom/session/types/MapAsset.h"
#include "geoloom/session/types/MapSessionConfiguration.h"
#include "geoloom/session/types/MapSessionSettings.h"
#include "geoloom/session/types/ServiceEndpoints.h"

#include "objc/bridge/Assets.h"
#include "objc/bridge/Support.h"

using namespace geoloom;
using bridge::copied;
using bridge::guarded;
using bridge::with;

std::shared_ptr<MapAsset> bridge::asset(const GeoloomMapAsset& values) {
  const platform::SCNVector3 position{values.position.x, values.position.y, values.position.z};
  auto asset = std::make_shared<MapAsset>(string(values.assetID), position, values.orientation);
  asset->confidence = values.confidence;
  return asset;
}

bool geoloomMapAssetsEqual(const GeoloomMapAsset* one, const GeoloomMapAsset* other) {
  return guarded("isEqual:", [&] { return bridge::asset(*one)->isEqual(bridge::asset(*other).get()); });
}

size_t geoloomMapAssetHash(const GeoloomMapAsset* asset) {
  return guarded("hash", [&] { return bridge::asset(*asset)->hash(); });
}

GeoloomText geoloomDetectedObjectName(const GeoloomNative* native) {
  return with<DetectedObject>(native, "name", [](const auto& object) { return copied(object.name); });
}

float geoloomDetectedObjectConfidence(const GeoloomNative* native) {
  return with<DetectedObject>(native, "confidence", [](const auto& object) { return object.confidence; });
}

SCNVector3 geoloomDetectedObjectCenter(const GeoloomNative* native) {
  return with<DetectedObject>(native, "center", [](const auto& object) {
    return SCNVector3{object.center.x, object.center.y, object.center.z};
  });
}

float geoloomDetectedObjectHeight(const GeoloomNative* native) {
  return with<DetectedObject>(native, "height", [](const auto& object) { return object.height; });
}

GeoloomText geoloomDetectedObjectPrint(const GeoloomNative* native) {
  return with<DetectedObject>(native, "print", [](const auto& object) { return copied(object.print()); });
}

GeoloomNative* geoloomConfigurationMake(float sceneUnderstandingConfidenceThreshold,
                                        float featureMatchDistanceMeters) {
  return guarded("MapSessionConfiguration", [&] {
    return bridge::reference(std::make_shared<MapSessionConfiguration>(sceneUnderstandingConfidenceThreshold,
                                                                       featureMatchDistanceMeters));
  });
}

float geoloomConfigurationThreshold(const GeoloomNative* native) {
  return with<MapSessionConfiguration>(native, "sceneUnderstandingConfidenceThreshold", [](auto& it) {
    return it.sceneUnderstandingConfidenceThreshold.load();
  });
}

void geoloomConfigurationSetThreshold(GeoloomNative* native, float value) {
  with<MapSessionConfiguration>(native, "setSceneUnderstandingConfidenceThreshold:", [value](auto& it) {
    it.sceneUnderstandingConfidenceThreshold = value;
  });
}

float geoloomConfigurationDistance(const GeoloomNative* native) {
  return with<MapSessionConfiguration>(native, "featureMatchDistanceMeters",
                                       [](auto& it) { return it.featureMatchDistanceMeters.load(); });
}

void geoloomConfigurationSetDistance(GeoloomNative* native, float value) {
  with<MapSessionConfiguration>(
      native, "setFeatureMatchDistanceMeters:", [value](auto& it) { it.featureMatchDistanceMeters = value; });
}

// Loads and stores of atomics throw nothing, so these need no guard.

float geoloomConfidenceThreshold(void) {
  return MapSessionSettings::CONFIDENCE_THRESHOLD;
}

void geoloomSetConfidenceThreshold(float value) {
  MapSessionSettings::CONFIDENCE_THRESHOLD = value;
}

long geoloomTimeoutThreshold(void) {
  return MapSessionSettings::TIMEOUT_THRESHOLD;
}

void geoloomSetTimeoutThreshold(long value) {
  MapSessionSettings::TIMEOUT_THRESHOLD = value;
}

bool geoloomContinuouslyUpdatedRelocalization(void) {
  return MapSessionSettings::CONTINOUSLY_UPDATED_RELOCALIZATION;
}

void geoloomSetContinuouslyUpdatedRelocalization(bool value) {
  MapSessionSettings::CONTINOUSLY_UPDATED_RELOCALIZATION = value;
}

bool geoloomUseBetaAlgo(void) {
  return MapSessionSettings::USE_BETA_ALGO;
}

void geoloomSetUseBetaAlgo(bool value) {
  MapSessionSettings::USE_BETA_ALGO = value;
}

long geoloomRetrieveAssetsInterval(void) {
  return MapSessionSettings::RETRIEVE_ASSETS_INTERVAL;
}

void geoloomSetRetrieveAssetsInterval(long value) {
  MapSessionSettings::RETRIEVE_ASSETS_INTERVAL = value;
}

static GeoloomEndpoints valuesOf(const ServiceEndpoints& endpoints) {
  return {.production = copied(endpoints.production),
          .beta = copied(endpoints.beta),
          .sceneUnderstanding = copied(endpoints.sceneUnderstanding),
          .tables = copied(endpoints.tables),
          .metrics = copied(endpoints.metrics)};
}

GeoloomEndpoints geoloomCurrentEndpoints(void) {
  return guarded("ServiceEndpoints", [] { return valuesOf(ServiceEndpoints::current()); });
}

GeoloomEndpoints geoloomEndpointsWithService(GeoloomText address) {
  return guarded("ServiceEndpoints",
                 [&] { return valuesOf(ServiceEndpoints::withService(bridge::string(address))); });
}

void geoloomSetCurrentEndpoints(GeoloomEndpoints endpoints) {
  guarded("ServiceEndpoints", [&] {
    ServiceEndpoints::setCurrent({.production = bridge::string(endpoints.production),
                                  .beta = bridge::string(endpoints.beta),
                                  .sceneUnderstanding = bridge::string(endpoints.sceneUnderstanding),
                                  .tables = bridge::string(endpoints.tables),
                                  .metrics = bridge::string(endpoints.metrics)});
  });
}
