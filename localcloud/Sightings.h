#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "localcloud/Database.h"
#include "localcloud/Text.h"
#include "localcloud/matching/Sighting.h"

/// What the rows of "SceneUnderstanding" have said. The objects of one detection share a key, so the table
/// keeps the last of them only; here each is kept. The functions run within Store::read or Store::write and
/// throw DatabaseError.
namespace geoloom::localcloud::sightings {

/// Kept of a map or session; further ones displace the oldest of the name that has most.
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

/// Keeps an item, with canonical attributes, for the map or localization session that it names. Does nothing
/// if there is none, or if the item lacks a name, a frame or a position.
void add(Database& database, const Value& item);
/// When the item was seen, seconds since 1970, if it says so.
[[nodiscard]] std::optional<double> timeOf(const Value& item);
/// Of one map or session, in the order of their frames.
[[nodiscard]] std::vector<Sighting> of(Database& database, const std::string& session);
void remove(Database& database, const std::string& session);

}  // namespace geoloom::localcloud::sightings
