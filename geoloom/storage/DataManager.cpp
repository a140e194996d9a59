#include "geoloom/storage/DataManager.h"

#include <ctime>
#include <utility>

#include <fmt/chrono.h>

#include "geoloom/cloud/CloudAPI.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/storage/TransformRow.h"
#include "geoloom/storage/TransformScan.h"
#include "geoloom/storage/directories.h"

namespace geoloom {
namespace {

using platform::Console;
using platform::JSON;

constexpr char MAP_NOT_FOUND[] = "Cannot find the map";

/// The time of day in the device's time zone as "yyMMdd_HHmmss".
std::string directoryName(platform::Date date) {
  const std::time_t seconds = std::chrono::floor<std::chrono::seconds>(date).time_since_epoch().count();
  std::tm local{};
  localtime_r(&seconds, &local);
  return fmt::format("{:%y%m%d_%H%M%S}", local);
}

}  // namespace

DataManager::DataManager(std::shared_ptr<platform::ARSession> frames,
                         std::shared_ptr<platform::NSObject> owner, std::shared_ptr<CloudAPI> client)
    : dataDirectory(dataRootDirectory + "/" + directoryName(platform::Clock::current()->date())),
      arSession(std::move(frames)),
      imageSaveQueue(platform::DispatchQueue::serial("com.yelt.savedata")),
      relocalizationQueue(platform::DispatchQueue::serial("com.yelt.relocalization")),
      locManager(LocationManager::create()),
      cloudAPI(std::move(client)),
      session(std::move(owner)) {
  removeDirectory(dataRootDirectory);
  createDirectory(dataDirectory);
}

void DataManager::createMap(OpeningRequest request, StatusCallback report) {
  addLocation(request);
  isOpening_ = true;
  cloudAPI->createMap(request, [self = shared_from_this(), report = std::move(report)](const JSON& answer) {
    const MapStatus status = self->mapStatus(answer);
    self->isOpening_ = false;
    report(status);
  });
}

void DataManager::createLocalizationSession(OpeningRequest request, StatusCallback report,
                                            AnswerCallback retrieved) {
  addLocation(request);
  isOpening_ = true;
  cloudAPI->createLocalizationSession(request, [self = shared_from_this(), report = std::move(report),
                                                retrieved = std::move(retrieved)](const JSON& answer) {
    const MapStatus status = self->localizationStatus(answer);
    self->isOpening_ = false;
    report(status);
    if (status == MapStatus::initialized) self->retrieveAssets(retrieved);
  });
}

void DataManager::addLocation(OpeningRequest& request) const {
  const auto fix = locManager->currentLocation();
  if (!fix) return;
  request.location = {.longitude = fix->coordinate.longitude,
                      .latitude = fix->coordinate.latitude,
                      .altitude = fix->altitude,
                      .horizontalAccuracy = fix->horizontalAccuracy,
                      .verticalAccuracy = fix->verticalAccuracy};
}

MapStatus DataManager::mapStatus(const JSON& answer) {
  Console::print(answer.description());
  if (answer.contains("uuid")) {
    auto map = answer.string("uuid");
    if (!map) return MapStatus::serviceError;
    identifiers_.store({.localizationSession = {}, .map = std::move(map)});
    return MapStatus::initialized;
  }
  return refusalStatus(answer);
}

MapStatus DataManager::localizationStatus(const JSON& answer) {
  Console::print(answer.description());
  if (answer.contains("session_uuid")) {
    auto localizationSession = answer.string("session_uuid");
    auto map = answer.string("map_uuid");
    if (!localizationSession || !map) return MapStatus::serviceError;
    identifiers_.store({.localizationSession = std::move(localizationSession), .map = std::move(map)});
    return MapStatus::initialized;
  }
  const MapStatus status = refusalStatus(answer);
  return refusal().find(MAP_NOT_FOUND) == std::string::npos ? status : MapStatus::mapNotFound;
}

MapStatus DataManager::refusalStatus(const JSON& answer) {
  const auto error = answer["errorMessage"];
  if (!error) return MapStatus::connectionFailed;
  refusal_.store(error->stringValue());
  return MapStatus::serviceError;
}

void DataManager::retrieveAssets(AnswerCallback completion) {
  Console::print("retrieve assets");
  const auto map = mapUUID();
  if (!map) return;
  cloudAPI->findAssetsOnTheMap(
      *map, [self = shared_from_this(), completion = std::move(completion)](const JSON& answer) {
        self->preloadedAssetJSON_.store(answer);
        if (completion) completion(answer);
      });
}

std::string DataManager::scanTransform() {
  const auto map = mapUUID();
  if (!map) return {};
  const base::Result<TransformScan> scan = scanTransformRows(*map);
  if (!scan) {
    Console::print(scan.failure().message);
    return {};
  }
  Console::print("Transform DB scan result " + std::to_string(scan->rows));
  if (!scan->best || scan->best->Transform == lastMatchTransform_) return {};
  lastMatchTransform_ = *scan->best->Transform;
  Console::print(description(*scan->best));
  return lastMatchTransform_;
}

}  // namespace geoloom
