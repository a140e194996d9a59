#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "localcloud/Database.h"
#include "localcloud/Text.h"
#include "localcloud/matching/Sighting.h"

/// The objects of all rows written to "SceneUnderstanding". The objects of one frame share a key, so the
/// table keeps only the last of them; the sightings are all of them. The functions run within Store::read or
/// Store::write and throw DatabaseError.
namespace geoloom::localcloud::sightings {

/// Limit for a map or session; beyond it, a new sighting replaces the oldest one of the most frequent name.
inline constexpr std::int64_t MAXIMUM = 10'000;

inline constexpr const char* SCHEMA = R"sql(
CREATE TABLE sightings (
  session TEXT NOT NULL,
  frame INTEGER NOT NULL,
  name TEXT NOT NULL,
  x REAL NOT NULL, y REAL NOT NULL, z REAL NOT NULL,
  confidence REAL,
  time REAL,
  PRIMARY KEY (session, frame, name, x, y, z)
) WITHOUT ROWID;
)sql";

/// Stores an item, with canonical attributes, for the map or localization session in its key. Does nothing if
/// that does not exist, or if the item lacks a name, a frame or a position.
void add(Database& database, const Value& item);
/// When the item was seen, seconds since 1970, if it says so.
[[nodiscard]] std::optional<double> timeOf(const Value& item);
/// The sightings of one map or session, in the order of their frames.
[[nodiscard]] std::vector<Sighting> of(Database& database, const std::string& session);
void remove(Database& database, const std::string& session);

}  // namespace geoloom::localcloud::sightings
