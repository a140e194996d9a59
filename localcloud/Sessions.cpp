#include "localcloud/Sessions.h"

#include <vector>

#include "localcloud/Sightings.h"
#include "localcloud/Tables.h"

namespace geoloom::localcloud::sessions {

void add(Database& database, const SessionRecord& session, double now) {
  Query(database, "INSERT INTO localization_sessions (uuid, handle, map_uuid, asked) VALUES (?, ?, ?, ?)",
        session.uuid, session.handle, session.mapUUID, now)
      .run();
}

std::optional<SessionRecord> find(Database& database, const std::string& uuid) {
  Query query(database, "SELECT handle, map_uuid FROM localization_sessions WHERE uuid = ?", uuid);
  if (!query.next()) return std::nullopt;
  return SessionRecord{.uuid = uuid, .handle = query.text(0), .mapUUID = query.text(1)};
}

std::optional<std::string> mapNamed(Database& database, const std::string& name) {
  Query query(database,
              "SELECT uuid FROM maps WHERE uuid = ?1"
              " UNION ALL SELECT map_uuid FROM localization_sessions WHERE handle = ?1",
              name);
  if (!query.next()) return std::nullopt;
  return query.text(0);
}

void ask(Database& database, const Question& question, double now) {
  Query(database, "UPDATE localization_sessions SET asked = ?2, match_distance = ?3 WHERE uuid = ?1",
        question.session.uuid, now, question.matchDistance)
      .run();
}

std::optional<Question> questionDue(Database& database, const std::string& uuid, double seen) {
  Query query(database,
              "UPDATE localization_sessions SET looked = ?2 WHERE uuid = ?1 AND match_distance IS NOT NULL"
              " AND abs(?2 - looked) >= ?3 RETURNING handle, map_uuid, match_distance",
              uuid, seen, SECONDS_BETWEEN_LOOKS);
  if (!query.next()) return std::nullopt;
  return Question{.session = {.uuid = uuid, .handle = query.text(0), .mapUUID = query.text(1)},
                  .matchDistance = query.real(2)};
}

std::optional<Estimate> estimate(Database& database, const std::string& uuid) {
  Query query(database,
              "SELECT x, y, z, angle, predicted_error FROM localization_sessions"
              " WHERE uuid = ? AND predicted_error IS NOT NULL",
              uuid);
  if (!query.next()) return std::nullopt;
  const Point translation{query.real(0), query.real(1), query.real(2)};
  return Estimate{{.translation = translation, .angle = query.real(3)}, query.real(4)};
}

void setEstimate(Database& database, const std::string& uuid, const Estimate& estimate) {
  const auto& [translation, angle] = estimate.transform;
  Query(database,
        "UPDATE localization_sessions SET x = ?2, y = ?3, z = ?4, angle = ?5, predicted_error = ?6"
        " WHERE uuid = ?1",
        uuid, translation.x, translation.y, translation.z, angle, estimate.predictedErrorMeters)
      .run();
}

void removeIdle(Database& database, double now) {
  std::vector<SessionRecord> idle;
  {
    Query query(database, "SELECT uuid, handle, map_uuid FROM localization_sessions WHERE asked < ?",
                now - SECONDS_KEPT);
    while (query.next()) idle.push_back({query.text(0), query.text(1), query.text(2)});
  }
  for (const SessionRecord& session : idle) {
    tables::remove(database, tables::TRANSFORMATIONS, session.handle);
    tables::remove(database, tables::SCENE_UNDERSTANDING, session.uuid);
    sightings::remove(database, session.uuid);
    Query(database, "DELETE FROM localization_sessions WHERE uuid = ?", session.uuid).run();
  }
}

}  // namespace geoloom::localcloud::sessions
