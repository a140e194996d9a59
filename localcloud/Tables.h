#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "localcloud/Database.h"

namespace geoloom::localcloud {

/// A key attribute and the type of its values: 'S', 'N' or 'B'.
struct KeyAttribute {
  std::string name;
  char type = 'S';
};

struct TableRecord {
  std::string name;
  KeyAttribute hash;
  std::optional<KeyAttribute> range;
  double created = 0;  ///< seconds since 1970
};

/// Key values as bytes whose order is the order of the values; the range key is empty in tables without one.
struct ItemKey {
  std::string hash;
  std::string range;
  bool operator==(const ItemKey&) const = default;
};

struct ItemRecord {
  ItemKey key;
  std::string text;  ///< the attributes as JSON
};

/// Stored cloud tables and their items. Each function runs within Store::read or Store::write and throws
/// DatabaseError.
namespace tables {

// The two tables that every store has, and the attributes that the service itself reads and writes.
inline constexpr const char* TRANSFORMATIONS = "Transformations";
inline constexpr const char* SCENE_UNDERSTANDING = "SceneUnderstanding";
inline constexpr const char* SESSION_ID = "SessionId";
inline constexpr const char* TIMESTAMP = "Timestamp";
inline constexpr const char* FRAME_ID = "FrameId";
inline constexpr const char* MATCH_COUNT = "MatchCount";
inline constexpr const char* MATCH_VALUE = "MatchValue";
inline constexpr const char* TRANSFORM = "Transform";
inline constexpr const char* OBJECT_NAME = "ObjectName";
inline constexpr const char* CONFIDENCE = "Confidence";
inline constexpr const char* POSITION_X = "PositionX";
inline constexpr const char* POSITION_Y = "PositionY";
inline constexpr const char* POSITION_Z = "PositionZ";

inline constexpr const char* SCHEMA = R"sql(
CREATE TABLE tables (
  name TEXT PRIMARY KEY,
  hash_name TEXT NOT NULL, hash_type TEXT NOT NULL,
  range_name TEXT, range_type TEXT,
  created REAL NOT NULL
) WITHOUT ROWID;
CREATE TABLE items (
  table_name TEXT NOT NULL,
  hash BLOB NOT NULL,
  range BLOB NOT NULL,
  attributes TEXT NOT NULL,
  PRIMARY KEY (table_name, hash, range)
) WITHOUT ROWID;
INSERT INTO tables VALUES ('Transformations', 'SessionId', 'S', 'Timestamp', 'N', unixepoch());
INSERT INTO tables VALUES ('SceneUnderstanding', 'SessionId', 'S', 'FrameId', 'N', unixepoch());
)sql";

/// False if the name is taken.
bool create(Database& database, const TableRecord& table);
[[nodiscard]] std::optional<TableRecord> find(Database& database, const std::string& name);
[[nodiscard]] std::vector<std::string> names(Database& database);
[[nodiscard]] std::int64_t itemCount(Database& database, const std::string& table);

/// Adds the item, or replaces the one with the same key.
void put(Database& database, const std::string& table, const ItemRecord& item);
/// Removes all items of one hash key.
void remove(Database& database, const std::string& table, const std::string& hash);
/// The text of an item.
[[nodiscard]] std::optional<std::string> item(Database& database, const std::string& table,
                                              const ItemKey& key);
/// The texts of all items of one hash key in the order of their range keys.
[[nodiscard]] std::vector<std::string> items(Database& database, const std::string& table,
                                             const std::string& hash);
/// Visits the items of one hash key, or of all, after a key in the order of their keys until `visit` returns
/// false. With a hash key the cost does not depend on the number of other items.
void scan(Database& database, const std::string& table, const std::optional<std::string>& hash,
          const std::optional<ItemKey>& after, const std::function<bool(ItemRecord)>& visit);

}  // namespace tables
}  // namespace geoloom::localcloud
