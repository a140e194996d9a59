#pragma once

#include <optional>
#include <string>

#include "localcloud/Database.h"
#include "localcloud/matching/Decision.h"

namespace geoloom::localcloud {

/// A localization session.
struct SessionRecord {
  std::string uuid;
  std::string handle;  ///< identifies the map in this session; key of the session's rows of transforms
  std::string mapUUID;
};

/// A request to localize a session in its map.
struct Question {
  SessionRecord session;
  double matchDistance = 0;  ///< metres
};

/// Stored localization sessions. Each function runs within Store::read or Store::write and throws
/// DatabaseError. Times are in seconds since 1970.
namespace sessions {

inline constexpr double SECONDS_KEPT = 24 * 60 * 60;
/// A quarter of a second, less what rounding may take from the difference of two times.
inline constexpr double SECONDS_BETWEEN_LOOKS = 0.249;

inline constexpr const char* SCHEMA = R"sql(
CREATE TABLE localization_sessions (
  uuid TEXT PRIMARY KEY,
  handle TEXT NOT NULL UNIQUE,
  map_uuid TEXT NOT NULL REFERENCES maps (uuid),
  asked REAL NOT NULL,
  looked REAL NOT NULL DEFAULT 0,
  match_distance REAL,
  x REAL, y REAL, z REAL, angle REAL, predicted_error REAL
) WITHOUT ROWID;
CREATE INDEX sessions_by_age ON localization_sessions (asked);
)sql";

void add(Database& database, const SessionRecord& session, double now);
[[nodiscard]] std::optional<SessionRecord> find(Database& database, const std::string& uuid);
/// UUID of the map with this UUID, or of the map of the session with this handle.
[[nodiscard]] std::optional<std::string> mapNamed(Database& database, const std::string& name);

/// Stores the request of a session to be localized; `questionDue` returns it from now on.
void ask(Database& database, const Question& question, double now);
/// The question of a session that has asked before, once a row was seen SECONDS_BETWEEN_LOOKS after the last
/// row that raised it. Goes by the time of the rows, so that the same walk gets the same answers at any pace.
[[nodiscard]] std::optional<Question> questionDue(Database& database, const std::string& uuid, double seen);

/// The content of the session's row of "Transformations"; absent before the first one.
[[nodiscard]] std::optional<Estimate> estimate(Database& database, const std::string& uuid);
void setEstimate(Database& database, const std::string& uuid, const Estimate& estimate);

/// Removes the sessions without a request in the last SECONDS_KEPT, with their rows and sightings.
void removeIdle(Database& database, double now);

}  // namespace sessions
}  // namespace geoloom::localcloud
