#include "localcloud/Sightings.h"

#include <charconv>
#include <cmath>
#include <optional>

#include "localcloud/Tables.h"

namespace geoloom::localcloud::sightings {

namespace {

std::optional<std::string> attribute(const Value& item, const char* name, const char* type) {
  const auto found = item.find(name);
  if (found == item.end() || !found->contains(type)) return std::nullopt;
  return found->at(type).get<std::string>();
}

/// Canonical numbers are plain decimals.
std::optional<double> number(const Value& item, const char* name) {
  const auto text = attribute(item, name, "N");
  if (!text) return std::nullopt;
  double value = 0;
  std::from_chars(text->data(), text->data() + text->size(), value);
  return value;
}

bool isKnown(Database& database, const std::string& session) {
  return Query(database,
               "SELECT 1 FROM localization_sessions WHERE uuid = ?1"
               " UNION ALL SELECT 1 FROM maps WHERE uuid = ?1",
               session)
      .next();
}

std::int64_t countOf(Database& database, const std::string& session) {
  Query query(database, "SELECT COUNT(*) FROM sightings WHERE session = ?", session);
  query.next();
  return query.integer(0);
}

void removeOldestOfCommonest(Database& database, const std::string& session) {
  Query(database,
        "DELETE FROM sightings WHERE session = ?1 AND (frame, name, x, y, z) ="
        " (SELECT frame, name, x, y, z FROM sightings WHERE session = ?1 AND name ="
        "  (SELECT name FROM sightings WHERE session = ?1 GROUP BY name ORDER BY COUNT(*) DESC, name LIMIT 1)"
        "  ORDER BY frame LIMIT 1)",
        session)
      .run();
}

}  // namespace

void add(Database& database, const Value& item) {
  constexpr double LARGEST_FRAME = 1e15;
  const auto session = attribute(item, tables::SESSION_ID, "S");
  const auto frame = number(item, tables::FRAME_ID);
  const auto name = attribute(item, tables::OBJECT_NAME, "S");
  const auto x = number(item, tables::POSITION_X);
  const auto y = number(item, tables::POSITION_Y);
  const auto z = number(item, tables::POSITION_Z);
  if (!session || !frame || std::abs(*frame) > LARGEST_FRAME || !name || !x || !y || !z) return;
  if (!isKnown(database, *session)) return;
  Query(database, "INSERT OR IGNORE INTO sightings VALUES (?, ?, ?, ?, ?, ?, ?, ?)", *session,
        static_cast<std::int64_t>(std::llround(*frame)), *name, *x, *y, *z, number(item, tables::CONFIDENCE),
        number(item, tables::TIMESTAMP))
      .run();
  if (countOf(database, *session) > MAXIMUM) removeOldestOfCommonest(database, *session);
}

std::optional<double> timeOf(const Value& item) {
  return number(item, tables::TIMESTAMP);
}

std::vector<Sighting> of(Database& database, const std::string& session) {
  Query query(database,
              "SELECT frame, name, x, y, z FROM sightings WHERE session = ? ORDER BY frame, name, x, y, z",
              session);
  std::vector<Sighting> result;
  while (query.next())
    result.push_back({query.integer(0), query.text(1), {query.real(2), query.real(3), query.real(4)}});
  return result;
}

void remove(Database& database, const std::string& session) {
  Query(database, "DELETE FROM sightings WHERE session = ?", session).run();
}

}  // namespace geoloom::localcloud::sightings
