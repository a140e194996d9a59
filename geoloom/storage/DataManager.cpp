#include "geoloom/storage/DataManager.h"

#include <utility>

#include "geoloom/cloud/CloudAPI.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/DateFormatter.h"
#include "geoloom/platform/foundation/Log.h"
#include "geoloom/storage/TransformRow.h"
#include "geoloom/storage/TransformScan.h"
#include "geoloom/storage/directories.h"

namespace geoloom {
namespace {

using platform::Console;
using platform::JSON;

constexpr char MAP_NOT_FOUND[] = "Cannot find the map";

std::optional<std::string> textMember(const JSON& answer, std::string_view key) {
  const auto member = answer[key];
  return member ? member->string() : std::nullopt;
}

}  // namespace

DataManager::DataManager(std::shared_ptr<platform::ARSession> frames,
                         std::shared_ptr<platform::NSObject> owner, std::shared_ptr<CloudAPI> client)
    : dataDirectory(dataRootDirectory + "/" +
                    platform::formatDate(platform::Clock::current()->date(), "yyMMdd_HHmmss")),
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
    auto map = textMember(answer, "uuid");
    if (!map) return MapStatus::serviceError;
    identifiers_.store({.map = std::move(map), .localizationSession = {}});
    return MapStatus::initialized;
  }
  const auto error = answer["errorMessage"];
  if (!error) return MapStatus::connectionFailed;
  refusal_.store(error->stringValue());
  return MapStatus::serviceError;
}

MapStatus DataManager::localizationStatus(const JSON& answer) {
  Console::print(answer.description());
  if (answer.contains("session_uuid")) {
    auto localizationSession = textMember(answer, "session_uuid");
    auto map = textMember(answer, "map_uuid");
    if (!localizationSession || !map) return MapStatus::serviceError;
    identifiers_.store({.map = std::move(map), .localizationSession = std::move(localizationSession)});
    return MapStatus::initialized;
  }
  const auto error = answer["errorMessage"];
  if (!error) return MapStatus::connectionFailed;
  const std::string text = error->stringValue();
  refusal_.store(text);
  return text.find(MAP_NOT_FOUND) == std::string::npos ? MapStatus::serviceError : MapStatus::mapNotFound;
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
