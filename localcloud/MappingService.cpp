#include "localcloud/MappingService.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>

#include <fmt/format.h>

#include "localcloud/DecimalNumber.h"
#include "localcloud/Maps.h"
#include "localcloud/Sightings.h"
#include "localcloud/Tables.h"
#include "localcloud/Text.h"
#include "localcloud/matching/Decision.h"
#include "localcloud/matching/Inspection.h"
#include "localcloud/matching/Landmarks.h"

namespace geoloom::localcloud {

namespace {

/// Ends an operation with {"errorMessage": text}.
class Refusal : public std::runtime_error {
 public:
  Refusal(int status, const std::string& message) : std::runtime_error(message), status_(status) {}
  [[nodiscard]] int status() const { return status_; }

 private:
  int status_;
};

[[noreturn]] void mapNotFound(const std::string& identifier) {
  throw Refusal(404, "Cannot find the map " + identifier);
}

/// UUID of the map with this UUID, or of the map of the session with this handle.
std::string mapNamed(Database& database, const std::string& name) {
  auto map = sessions::mapNamed(database, name);
  if (!map) mapNotFound(name);
  return *std::move(map);
}

/// Reads the members of a body. Refusals name the key by its path.
class Fields {
 public:
  explicit Fields(const Value& object, std::string path = {}) : object_(object), path_(std::move(path)) {
    if (!object_.is_object()) {
      throw Refusal(400, path_.empty() ? "The body must be an object" : path_ + " must be an object");
    }
  }

  [[nodiscard]] bool has(const char* key) const { return object_.contains(key); }

  [[nodiscard]] std::string text(const char* key) const {
    const Value& value = member(key);
    if (!value.is_string()) refuse(key, "must be text");
    return value.get<std::string>();
  }
  [[nodiscard]] std::optional<std::string> optionalText(const char* key) const {
    if (!has(key)) return std::nullopt;
    return text(key);
  }

  [[nodiscard]] double number(const char* key, double low = std::numeric_limits<float>::lowest(),
                              double high = std::numeric_limits<float>::max()) const {
    const Value& value = member(key);
    if (!value.is_number()) refuse(key, "must be a number");
    const double result = value.get<double>();
    if (!(result >= low && result <= high)) refuse(key, fmt::format("must be between {} and {}", low, high));
    return result;
  }

  [[nodiscard]] const Value& array(const char* key) const {
    const Value& value = member(key);
    if (!value.is_array()) refuse(key, "must be an array");
    return value;
  }

  void optionalBoolean(const char* key) const {
    if (has(key) && !object_.at(key).is_boolean()) refuse(key, "must be true or false");
  }

 private:
  [[noreturn]] void refuse(const char* key, const std::string& why) const {
    throw Refusal(400, fmt::format("{}{}{} {}", path_, path_.empty() ? "" : ".", key, why));
  }
  [[nodiscard]] const Value& member(const char* key) const {
    if (!has(key)) refuse(key, "is missing");
    return object_.at(key);
  }

  const Value& object_;
  std::string path_;
};

/// The arguments of all operations.
struct Context {
  Store& store;
  std::chrono::system_clock::time_point now;
  const std::optional<std::string>& developerKeyHash;
  MapLandmarks& landmarks;
};

/// Checks the fields that several bodies share. Those that describe the device are not stored.
void checkCommonBlock(const Context& context, const Fields& body) {
  const std::string developerKey = body.text("developer_key");
  if (context.developerKeyHash && developerKey != *context.developerKeyHash) {
    throw Refusal(403, "developer_key is not known to this service");
  }
  for (const char* const key :
       {"pod_version", "data_version", "device_version", "device_model", "device_uuid"}) {
    static_cast<void>(body.optionalText(key));
  }
}

std::optional<Location> location(const Fields& body) {
  static constexpr std::array KEYS = {"long", "lat", "alt", "horAccuracy", "verAccuracy"};
  if (std::none_of(KEYS.begin(), KEYS.end(), [&](const char* key) { return body.has(key); }))
    return std::nullopt;
  return Location{.longitude = body.number("long", -180, 180),
                  .latitude = body.number("lat", -90, 90),
                  .altitude = body.number("alt"),
                  .horizontalAccuracy = body.number("horAccuracy"),
                  .verticalAccuracy = body.number("verAccuracy")};
}

Body createMap(const Context& context, const Fields& body) {
  checkCommonBlock(context, body);
  const MapRecord map{.uuid = randomUUID(),
                      .appID = body.text("app_id"),
                      .userID = body.text("user_id"),
                      .mapID = body.text("map_id"),
                      .location = location(body)};
  context.store.write([&](Database& database) { maps::add(database, map); });
  return {{"uuid", map.uuid}};
}

Body createLocalizationSession(const Context& context, const Fields& body) {
  checkCommonBlock(context, body);
  static_cast<void>(body.text("user_id"));
  static_cast<void>(location(body));
  body.optionalBoolean("use_beta");
  const std::string mapID = body.text("map_id");
  const std::string appID = body.text("app_id");
  SessionRecord session{.uuid = randomUUID(), .handle = randomUUID(), .mapUUID = {}};
  context.store.write([&](Database& database) {
    const double now = secondsSince1970(context.now);
    sessions::removeIdle(database, now);
    const auto map = maps::newest(database, appID, mapID);
    if (!map) mapNotFound(mapID);
    session.mapUUID = *map;
    sessions::add(database, session, now);
  });
  return {{"session_uuid", session.uuid}, {"map_uuid", session.handle}};
}

Body placeAssets(const Context& context, const Fields& body) {
  const std::string name = body.text("map_uuid");
  std::vector<PlacementRecord> placements;
  for (const Value& element : body.array("placements")) {
    const Fields placement(element, fmt::format("placements[{}]", placements.size()));
    placements.push_back({.assetID = placement.text("asset_id"),
                          .x = placement.number("x"),
                          .y = placement.number("y"),
                          .z = placement.number("z"),
                          .orientation = placement.number("orientation")});
  }
  const std::string placementID = randomUUID();
  context.store.write([&](Database& database) {
    const std::string map = mapNamed(database, name);
    for (const PlacementRecord& placement : placements) maps::place(database, map, placementID, placement);
  });
  return {{"placement_id", placementID}};
}

Body findAssets(const Context& context, const Fields& body) {
  const std::string name = body.text("map_uuid");
  const auto placements = context.store.read(
      [&](Database& database) { return maps::placements(database, mapNamed(database, name)); });
  Body list = Body::array();
  for (const PlacementRecord& p : placements) {
    list.push_back({{"placement", {{"x", p.x}, {"y", p.y}, {"z", p.z}, {"ori", p.orientation}}},
                    {"asset", {{"id", p.assetID}}}});
  }
  return {{"placements", std::move(list)}};
}

/// Smaller angle between two longitudes in degrees, 0 to 180.
double longitudeDistance(double a, double b) {
  return std::abs(std::remainder(a - b, 360.0));
}

/// Square of half the chord between two points of the unit sphere: grows with the distance over ground.
double groundDistance(double latitude, double longitude, const Location& other) {
  constexpr double radians = std::numbers::pi / 180;
  const double across = std::sin((other.longitude - longitude) * radians / 2);
  const double along = std::sin((other.latitude - latitude) * radians / 2);
  return along * along + std::cos(latitude * radians) * std::cos(other.latitude * radians) * across * across;
}

Body listNearbyMaps(const Context& context, const Fields& body) {
  checkCommonBlock(context, body);
  const double latitude = body.number("latitude", -90, 90);
  const double longitude = body.number("longitude");
  const double latitudeSpan = body.number("latitude_delta", 0);
  const double longitudeSpan = body.number("longitude_delta", 0);
  auto found = context.store.read([&](Database& database) {
    return maps::located(database, body.text("app_id"), body.optionalText("user_id"),
                         latitude - latitudeSpan / 2, latitude + latitudeSpan / 2);
  });
  std::erase_if(found, [&](const MapRecord& map) {
    return longitudeDistance(map.location->longitude, longitude) > longitudeSpan / 2;
  });
  std::stable_sort(found.begin(), found.end(), [&](const MapRecord& a, const MapRecord& b) {
    return groundDistance(latitude, longitude, *a.location) <
           groundDistance(latitude, longitude, *b.location);
  });
  Body list = Body::array();
  for (const MapRecord& map : found) {
    list.push_back({{"user_id", map.userID},
                    {"map_id", map.mapID},
                    {"latitude", map.location->latitude},
                    {"longitude", map.location->longitude},
                    {"altitude", map.location->altitude},
                    {"vertical_accuracy", map.location->verticalAccuracy},
                    {"horizontal_accuracy", map.location->horizontalAccuracy}});
  }
  return list;
}

std::vector<Point> placesOf(const std::vector<PlacementRecord>& placements) {
  std::vector<Point> places;
  places.reserve(placements.size());
  for (const PlacementRecord& placement : placements)
    places.push_back({placement.x, placement.y, placement.z});
  return places;
}

ItemRecord transformRow(const std::string& handle, std::chrono::system_clock::time_point now,
                        const Localization& localization) {
  const DecimalNumber timestamp(fmt::format("{:.6f}", secondsSince1970(now)));
  const Value row = {
      {tables::SESSION_ID, {{"S", handle}}},
      {tables::TIMESTAMP, {{"N", timestamp.canonical()}}},
      {tables::MATCH_COUNT, {{"N", std::to_string(localization.matchCount)}}},
      {tables::MATCH_VALUE,
       {{"S", fmt::format("{}", qualityOf(localization.estimate.predictedErrorMeters))}}},
      {tables::TRANSFORM, {{"S", localization.estimate.transform.text()}}},
  };
  return {.key = {handle, timestamp.orderKey()}, .text = write(row)};
}

/// Replaces the only row of a session by a better one. False if the row does not change.
bool replaceTransform(const Context& context, const SessionRecord& session, const Localization& found,
                      const std::vector<Point>& places) {
  return context.store.write([&](Database& database) {
    if (!sessions::find(database, session.uuid)) return false;
    const auto last = sessions::estimate(database, session.uuid);
    if (last && !replaces(found.estimate, *last, places)) return false;
    sessions::setEstimate(database, session.uuid, found.estimate);
    tables::remove(database, tables::TRANSFORMATIONS, session.handle);
    tables::put(database, tables::TRANSFORMATIONS, transformRow(session.handle, context.now, found));
    return true;
  });
}

/// The result of localizing a session, and whether its row was written.
struct Look {
  Localization found;
  bool written = false;
};

Look look(const Context& context, const Question& question) {
  const std::string& map = question.session.mapUUID;
  const auto landmarks = context.landmarks.of(context.store, map);
  std::vector<Sighting> ofSession;
  std::vector<Point> places;
  context.store.read([&](Database& database) {
    ofSession = sightings::of(database, question.session.uuid);
    places = placesOf(maps::placements(database, map));
  });
  Look look{.found =
                localize(*landmarks, findLandmarks(ofSession, Age::fades), places, question.matchDistance)};
  look.written = look.found.accepted() && replaceTransform(context, question.session, look.found, places);
  return look;
}

Body localizeScene(const Context& context, const Fields& body) {
  const std::string name = body.text("mapping_session_id");
  const std::string uuid = body.text("localization_session_id");
  const double distance = body.number("feature_match_distance_meters");
  if (distance <= 0) throw Refusal(400, "feature_match_distance_meters must be greater than 0");
  const Question question = context.store.write([&](Database& database) {
    const std::string map = mapNamed(database, name);
    const auto session = sessions::find(database, uuid);
    if (!session || session->mapUUID != map)
      throw Refusal(404, "Cannot find the localization session " + uuid + " of the map " + name);
    Question asked{.session = *session, .matchDistance = distance};
    sessions::ask(database, asked, secondsSince1970(context.now));
    sessions::removeIdle(database, secondsSince1970(context.now));
    return asked;
  });
  const auto [found, written] = look(context, question);
  Body answer = {{"match_count", found.matchCount}, {"transform_written", written},
                 {"reason", text(found.reason)},    {"predicted_error_meters", nullptr},
                 {"objects", found.objects},        {"moved", found.moved},
                 {"missing", found.missing},        {"runner_up", nullptr}};
  if (found.matchCount > 0) answer["predicted_error_meters"] = found.estimate.predictedErrorMeters;
  if (found.runnerUp) answer["runner_up"] = *found.runnerUp;
  return answer;
}

Body inspectMap(const Context& context, const Fields& body) {
  checkCommonBlock(context, body);
  const std::string appID = body.text("app_id");
  const std::string mapID = body.text("map_id");
  const double distance = body.number("feature_match_distance_meters");
  if (distance <= 0) throw Refusal(400, "feature_match_distance_meters must be greater than 0");
  std::string uuid;
  std::vector<PlacementRecord> placements;
  context.store.read([&](Database& database) {
    const auto map = maps::newest(database, appID, mapID);
    if (!map) mapNotFound(mapID);
    uuid = *map;
    placements = maps::placements(database, uuid);
  });
  const Inspection inspection =
      inspect(*context.landmarks.of(context.store, uuid), placesOf(placements), distance);
  Body objects = Body::array();
  for (std::size_t i = 0; i < inspection.objects.size(); ++i) {
    const Landmark& object = inspection.objects[i];
    objects.push_back({{"name", object.name()},
                       {"sightings", object.sightings},
                       {"x", object.position.x},
                       {"y", object.position.y},
                       {"z", object.position.z},
                       {"spread_meters", std::hypot(std::sqrt(object.groundVariance), object.spread)},
                       {"ambiguous", inspection.isAmbiguous[i]}});
  }
  Body assets = Body::array();
  for (const PlacementRecord& p : placements)
    assets.push_back({{"id", p.assetID}, {"x", p.x}, {"y", p.y}, {"z", p.z}});
  Body smallest = Body::array();
  for (const std::size_t i : inspection.smallestSet) smallest.push_back(inspection.objects[i].name());
  const Localization& expected = inspection.expected;
  Body answer = {{"objects", std::move(objects)},
                 {"assets", std::move(assets)},
                 {"reason", text(expected.reason)},
                 {"predicted_error_meters", nullptr},
                 {"smallest_set", std::move(smallest)}};
  if (expected.matchCount > 0) answer["predicted_error_meters"] = expected.estimate.predictedErrorMeters;
  return answer;
}

struct Operation {
  std::string_view path;
  Body (*answer)(const Context&, const Fields&);
};

constexpr std::array MAP_OPERATIONS = {
    Operation{"/create_map", createMap},
    Operation{"/create_localization_session", createLocalizationSession},
    Operation{"/place_asset_on_map", placeAssets},
    Operation{"/find_assets_on_the_map", findAssets},
    Operation{"/list_nearby_maps", listNearbyMaps},
    Operation{"/inspect_map", inspectMap},
};
constexpr Operation LOCALIZE{"/dev/scene-understanding/localize", localizeScene};

const Operation* operationAt(std::string_view path) {
  if (path == LOCALIZE.path) return &LOCALIZE;
  for (const std::string_view base : {"/prod/maps", "/beta/maps"}) {
    if (!path.starts_with(base)) continue;
    const auto* const found =
        std::find_if(MAP_OPERATIONS.begin(), MAP_OPERATIONS.end(),
                     [&](const Operation& o) { return o.path == path.substr(base.size()); });
    if (found != MAP_OPERATIONS.end()) return found;
  }
  return nullptr;
}

}  // namespace

MappingService::MappingService(Store& store, Now now, std::optional<std::string> developerKeyHash)
    : store_(store), now_(std::move(now)), developerKeyHash_(std::move(developerKeyHash)) {}

std::optional<Answer> MappingService::answer(std::string_view path, const std::string& body) const {
  const Operation* const operation = operationAt(path);
  if (operation == nullptr) return std::nullopt;
  const auto [value, why] = readJSON(body);
  if (!value) return mappingError(400, why);
  try {
    return Answer{
        .body = write(operation->answer({store_, now_(), developerKeyHash_, landmarks_}, Fields(*value)))};
  } catch (const Refusal& refusal) {
    return mappingError(refusal.status(), refusal.what());
  }
}

void MappingService::sightingSaved(const std::string& seenBy, const std::optional<Question>& due) const {
  landmarks_.forget(seenBy);
  if (due) static_cast<void>(look({store_, now_(), developerKeyHash_, landmarks_}, *due));
}

}  // namespace geoloom::localcloud
