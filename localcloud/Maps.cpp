#include "localcloud/Maps.h"

namespace geoloom::localcloud::maps {

void add(Database& database, const MapRecord& map) {
  const auto& at = map.location;
  const auto value = [&](double Location::*field) -> std::optional<double> {
    return at ? std::optional((*at).*field) : std::nullopt;
  };
  Query(database,
        "INSERT INTO maps (uuid, app_id, user_id, map_id, longitude, latitude, altitude, horizontal_accuracy,"
        " vertical_accuracy) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)",
        map.uuid, map.appID, map.userID, map.mapID, value(&Location::longitude), value(&Location::latitude),
        value(&Location::altitude), value(&Location::horizontalAccuracy), value(&Location::verticalAccuracy))
      .run();
}

std::optional<std::string> newest(Database& database, const std::string& appID, const std::string& mapID) {
  Query query(database, "SELECT uuid FROM maps WHERE app_id = ? AND map_id = ? ORDER BY number DESC LIMIT 1",
              appID, mapID);
  if (!query.next()) return std::nullopt;
  return query.text(0);
}

std::vector<MapRecord> located(Database& database, const std::string& appID,
                               const std::optional<std::string>& userID, double south, double north) {
  Query row(database,
            "SELECT uuid, app_id, user_id, map_id, longitude, latitude, altitude, horizontal_accuracy,"
            " vertical_accuracy FROM maps AS map WHERE app_id = ?1 AND latitude BETWEEN ?3 AND ?4"
            " AND (?2 IS NULL OR user_id = ?2) AND number = (SELECT MAX(number) FROM maps"
            " WHERE app_id = map.app_id AND map_id = map.map_id AND latitude IS NOT NULL) ORDER BY number",
            appID, userID, south, north);
  std::vector<MapRecord> maps;
  while (row.next()) {
    maps.push_back({.uuid = row.text(0),
                    .appID = row.text(1),
                    .userID = row.text(2),
                    .mapID = row.text(3),
                    .location = Location{.longitude = row.real(4),
                                         .latitude = row.real(5),
                                         .altitude = row.real(6),
                                         .horizontalAccuracy = row.real(7),
                                         .verticalAccuracy = row.real(8)}});
  }
  return maps;
}

void place(Database& database, const std::string& mapUUID, const std::string& placementID,
           const PlacementRecord& placement) {
  Query(database,
        "INSERT INTO placements (map_uuid, asset_id, placement_id, x, y, z, orientation)"
        " VALUES (?, ?, ?, ?, ?, ?, ?) ON CONFLICT (map_uuid, asset_id) DO UPDATE"
        " SET placement_id = excluded.placement_id, x = excluded.x, y = excluded.y, z = excluded.z,"
        " orientation = excluded.orientation",
        mapUUID, placement.assetID, placementID, placement.x, placement.y, placement.z, placement.orientation)
      .run();
}

std::vector<PlacementRecord> placements(Database& database, const std::string& mapUUID) {
  Query query(database,
              "SELECT asset_id, x, y, z, orientation FROM placements WHERE map_uuid = ? ORDER BY number",
              mapUUID);
  std::vector<PlacementRecord> placements;
  while (query.next()) {
    placements.push_back({.assetID = query.text(0),
                          .x = query.real(1),
                          .y = query.real(2),
                          .z = query.real(3),
                          .orientation = query.real(4)});
  }
  return placements;
}

}  // namespace geoloom::localcloud::maps
