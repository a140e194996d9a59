#include "objc/bridge/MapSession.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "geoloom/platform/ar/ARFrame.h"
#include "geoloom/platform/ar/ARSCNView.h"
#include "geoloom/platform/ar/ARSession.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/platform/ui/UIView.h"
#include "geoloom/session/MapSession.h"

#include "objc/bridge/Assets.h"
#include "objc/bridge/Support.h"

using namespace geoloom;
using bridge::guarded;
using bridge::held;
using bridge::object;
using bridge::with;

namespace {

// Borrows a text that outlives the callback.
GeoloomText borrowed(const std::string& text) {
  return {text.data(), text.size()};
}

GeoloomText copiedIfPresent(const std::optional<std::string>& text) {
  return text ? bridge::copied(*text) : GeoloomText{};
}

GeoloomMapAsset values(const MapAsset& asset) {
  return {.assetID = borrowed(asset.assetID),
          .position = {asset.position.x, asset.position.y, asset.position.z},
          .orientation = asset.orientation,
          .confidence = asset.confidence};
}

GeoloomMap values(const Map& map) {
  return {.userID = borrowed(map.userID),
          .mapID = borrowed(map.mapID),
          .latitude = map.latitude,
          .longitude = map.longitude,
          .altitude = map.altitude,
          .horizontalAccuracy = map.horizontalAccuracy,
          .verticalAccuracy = map.verticalAccuracy};
}

template <class Object>
auto allValues(const std::vector<std::shared_ptr<Object>>& objects) {
  std::vector<decltype(values(*objects.front()))> all;
  all.reserve(objects.size());
  for (const auto& object : objects) all.push_back(values(*object));
  return all;
}

MapSession::AssetsFoundCallback callback(GeoloomAssetsClosure closure) {
  if (closure.run == nullptr) return {};
  return [context = held(closure.context, closure.release), run = closure.run](const auto& assets) {
    const auto all = allValues(assets);
    run(context.get(), all.data(), all.size());
  };
}

MapSession::MapsFoundCallback callback(GeoloomMapsClosure closure) {
  if (closure.run == nullptr) return {};
  return [context = held(closure.context, closure.release), run = closure.run](const auto& maps) {
    const auto all = allValues(maps);
    run(context.get(), all.data(), all.size());
  };
}

MapSession::ObjectDetectedCallback callback(GeoloomObjectsClosure closure) {
  if (closure.run == nullptr) return {};
  return [context = held(closure.context, closure.release), run = closure.run](const auto& objects) {
    std::vector<GeoloomNative*> references;
    references.reserve(objects.size());
    for (const auto& object : objects) references.push_back(bridge::reference(object));
    run(context.get(), references.data(), references.size());
  };
}

MapSession::StatusCallback statusCallback(GeoloomNumberClosure closure) {
  if (closure.run == nullptr) return {};
  return [context = held(closure.context, closure.release), run = closure.run](MapStatus status) {
    run(context.get(), rawValue(status));
  };
}

std::function<void(bool)> storedCallback(GeoloomNumberClosure closure) {
  if (closure.run == nullptr) return {};
  return [context = held(closure.context, closure.release), run = closure.run](bool stored) {
    run(context.get(), stored ? 1 : 0);
  };
}

}  // namespace

GeoloomText geoloomMapSessionDetectionModelFault() {
  return guarded("detectionModelFault", [] { return copiedIfPresent(MapSession::detectionModelFault()); });
}

GeoloomNative* geoloomMapSessionMake(const GeoloomMapSession* construction) {
  return guarded("MapSession", [construction]() -> GeoloomNative* {
    const auto mode = mapModeFromRawValue(construction->mapMode);
    if (!mode) {
      platform::SystemLog::log("MapSession not created: " + std::to_string(construction->mapMode) +
                               " is not a mode; use MapModeMapping or MapModeLocalization");
      return nullptr;
    }
    return bridge::reference(MapSession::create(
        object<platform::ARSession>(construction->arSession), *mode, bridge::string(construction->userID),
        bridge::string(construction->mapID), bridge::string(construction->developerKey),
        construction->screenHeight, construction->screenWidth,
        object<MapSessionConfiguration>(construction->mapSessionConfiguration)));
  });
}

// The closures become callbacks first, so that they are released even if the call fails.

void geoloomMapSessionRegisterCallbacks(GeoloomNative* native, GeoloomAssetsClosure assetsFound,
                                        GeoloomNumberClosure status, GeoloomObjectsClosure objectDetected) {
  guarded("registerCallbacks", [&] {
    auto onAssets = callback(assetsFound);
    auto onStatus = statusCallback(status);
    auto onObjects = callback(objectDetected);
    const auto session = object<MapSession>(native);
    if (session) session->registerCallbacks(std::move(onAssets), std::move(onStatus), std::move(onObjects));
  });
}

void geoloomMapSessionReset(GeoloomNative* native, const GeoloomNative* arSession) {
  with<MapSession>(native, "reset", [arSession](MapSession& session) {
    session.reset(object<platform::ARSession>(arSession));
  });
}

void geoloomMapSessionUpdate(GeoloomNative* native, const GeoloomNative* frame) {
  with<MapSession>(native, "update",
                   [frame](MapSession& session) { session.update(object<platform::ARFrame>(frame)); });
}

void geoloomMapSessionVisualize(GeoloomNative* native, const GeoloomNative* view,
                                const GeoloomNative* scene) {
  with<MapSession>(native, "visualizeSceneUnderstanding", [&](MapSession& session) {
    session.visualizeSceneUnderstanding(object<platform::UIView>(view), object<platform::ARSCNView>(scene));
  });
}

bool geoloomMapSessionStorePlacement(GeoloomNative* native, const GeoloomMapAsset* assets, size_t count,
                                     GeoloomNumberClosure stored) {
  return guarded("storePlacement", [&] {
    auto onStored = storedCallback(stored);
    std::vector<std::shared_ptr<MapAsset>> placed;
    placed.reserve(count);
    for (size_t i = 0; i < count; ++i) placed.push_back(bridge::asset(assets[i]));
    const auto session = object<MapSession>(native);
    return session && session->storePlacement(placed, std::move(onStored));
  });
}

bool geoloomMapSessionListNearbyMaps(GeoloomNative* native, GeoloomText userID, double longitude,
                                     double latitude, double longitudeDelta, double latitudeDelta,
                                     GeoloomMapsClosure mapsFound) {
  return guarded("listNearbyMaps", [&] {
    auto onMaps = callback(mapsFound);
    const auto user = userID.bytes == nullptr ? std::nullopt : std::optional(bridge::string(userID));
    const auto session = object<MapSession>(native);
    return session && session->listNearbyMaps(user, longitude, latitude, longitudeDelta, latitudeDelta,
                                              std::move(onMaps));
  });
}

long geoloomMapSessionMode(const GeoloomNative* native) {
  return with<MapSession>(native, "mapSessionMode",
                          [](const auto& session) { return rawValue(session.mapSessionMode()); });
}

GeoloomText geoloomMapSessionUUID(const GeoloomNative* native) {
  return with<MapSession>(native, "mapSessionUUID",
                          [](const auto& session) { return copiedIfPresent(session.mapSessionUUID()); });
}

GeoloomText geoloomMapSessionMappingUUID(const GeoloomNative* native) {
  return with<MapSession>(native, "mappingUUID",
                          [](const auto& session) { return copiedIfPresent(session.mappingUUID()); });
}

GeoloomText geoloomMapSessionMapID(const GeoloomNative* native) {
  return with<MapSession>(native, "mapID",
                          [](const auto& session) { return bridge::copied(session.mapID()); });
}

GeoloomText geoloomMapSessionUserID(const GeoloomNative* native) {
  return with<MapSession>(native, "userID",
                          [](const auto& session) { return bridge::copied(session.userID()); });
}

bool geoloomMapSessionLastTransform(const GeoloomNative* native, SCNVector3* translation, float* rotation) {
  return with<MapSession>(native, "lastTransform", [&](const auto& session) {
    const auto transform = session.lastTransform();
    if (!transform) return false;
    *translation = {transform->translation.x, transform->translation.y, transform->translation.z};
    *rotation = transform->rotation;
    return true;
  });
}
