#pragma once

#include <optional>
#include <string>
#include <vector>

#include "localcloud/Database.h"

namespace geoloom::localcloud {

/// Degrees and metres.
struct Location {
  double longitude = 0;
  double latitude = 0;
  double altitude = 0;
  double horizontalAccuracy = 0;
  double verticalAccuracy = 0;
};

struct MapRecord {
  std::string uuid;
  std::string appID;
  std::string userID;
  std::string mapID;
  std::optional<Location> location;
};

/// Metres in the map's coordinates; orientation in radians about the vertical axis.
struct PlacementRecord {
  std::string assetID;
  double x = 0;
  double y = 0;
  double z = 0;
  double orientation = 0;
};

/// Stored maps and placements. Each function runs within Store::read or Store::write
/// and throws DatabaseError.
namespace maps {

inline constexpr const char* SCHEMA = R"sql(
CREATE TABLE maps (
  number INTEGER PRIMARY KEY AUTOINCREMENT,
  uuid TEXT NOT NULL UNIQUE,
  app_id TEXT NOT NULL,
  user_id TEXT NOT NULL,
  map_id TEXT NOT NULL,
  longitude REAL, latitude REAL, altitude REAL, horizontal_accuracy REAL, vertical_accuracy REAL
);
CREATE INDEX maps_by_id ON maps (app_id, map_id, number);
CREATE INDEX maps_by_latitude ON maps (app_id, latitude);
CREATE TABLE placements (
  number INTEGER PRIMARY KEY AUTOINCREMENT,
  map_uuid TEXT NOT NULL REFERENCES maps (uuid),
  asset_id TEXT NOT NULL,
  placement_id TEXT NOT NULL,
  x REAL NOT NULL, y REAL NOT NULL, z REAL NOT NULL, orientation REAL NOT NULL,
  UNIQUE (map_uuid, asset_id)
);
)sql";

void add(Database& database, const MapRecord& map);
/// UUID of the application's newest map of that identifier.
[[nodiscard]] std::optional<std::string> newest(Database& database, const std::string& appID,
                                                const std::string& mapID);
/// For each map identifier of the application the newest map with a location, if that is between the two
/// latitudes.
[[nodiscard]] std::vector<MapRecord> located(Database& database, const std::string& appID,
                                             const std::optional<std::string>& userID, double south,
                                             double north);

/// Replaces the earlier placement of the same asset.
void place(Database& database, const std::string& mapUUID, const std::string& placementID,
           const PlacementRecord& placement);
/// In the order in which the assets were first placed.
[[nodiscard]] std::vector<PlacementRecord> placements(Database& database, const std::string& mapUUID);

}  // namespace maps
}  // namespace geoloom::localcloud
