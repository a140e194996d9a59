#include "localcloud/Store.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

namespace geoloom::localcloud {

namespace {

// `number` orders what was made within one clock tick; the newest map or session is the one with the
// greatest.
constexpr const char* SCHEMA = R"sql(
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
CREATE TABLE localization_sessions (
  number INTEGER PRIMARY KEY AUTOINCREMENT,
  uuid TEXT NOT NULL UNIQUE,
  map_uuid TEXT NOT NULL REFERENCES maps (uuid)
);
CREATE INDEX sessions_by_map ON localization_sessions (map_uuid, number);
CREATE TABLE placements (
  number INTEGER PRIMARY KEY AUTOINCREMENT,
  map_uuid TEXT NOT NULL REFERENCES maps (uuid),
  asset_id TEXT NOT NULL,
  placement_id TEXT NOT NULL,
  x REAL NOT NULL, y REAL NOT NULL, z REAL NOT NULL, orientation REAL NOT NULL,
  UNIQUE (map_uuid, asset_id)
);
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
CREATE TABLE metrics (
  space TEXT NOT NULL,
  name TEXT NOT NULL,
  dimensions TEXT NOT NULL,
  samples INTEGER NOT NULL,
  sum REAL NOT NULL,
  PRIMARY KEY (space, name, dimensions)
) WITHOUT ROWID;
INSERT INTO tables VALUES ('Transformations', 'SessionId', 'S', 'Timestamp', 'N', unixepoch());
INSERT INTO tables VALUES ('SceneUnderstanding', 'SessionId', 'S', 'FrameId', 'N', unixepoch());
)sql";

std::int64_t schemaVersion(Database& database) {
  Query query(database, "PRAGMA user_version");
  query.next();
  return query.integer(0);
}

void prepareSchema(Database& database, const std::filesystem::path& file) {
  const std::int64_t version = schemaVersion(database);
  if (version > Store::SCHEMA_VERSION) {
    throw StoreError(
        fmt::format("{} was written by a newer version (its format is {}, this one reads {}): update, or "
                    "choose another directory",
                    file.string(), version, Store::SCHEMA_VERSION));
  }
  if (version == Store::SCHEMA_VERSION) return;
  Transaction transaction(database);
  database.execute(SCHEMA);
  database.execute(fmt::format("PRAGMA user_version = {}", Store::SCHEMA_VERSION));
  transaction.commit();
}

// The lock is the process's as long as the descriptor is open; it goes with the process however that ends.
int lockDirectory(const std::filesystem::path& directory) {
  std::error_code error;
  if (std::filesystem::create_directories(directory, error)) {
    std::filesystem::permissions(directory, std::filesystem::perms::owner_all, error);
  }
  if (error) {
    throw StoreError(
        fmt::format("cannot make the data directory {}: {}", directory.string(), error.message()));
  }
  const std::filesystem::path file = directory / "localcloud.lock";
  const int lock = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (lock < 0) {
    throw StoreError(fmt::format("cannot write in the data directory {}: {}", directory.string(),
                                 std::generic_category().message(errno)));
  }
  if (::flock(lock, LOCK_EX | LOCK_NB) != 0) {
    ::close(lock);
    throw StoreError(
        fmt::format("the data directory {} is in use by another local cloud: stop that one, or choose "
                    "another directory",
                    directory.string()));
  }
  return lock;
}

MapRecord mapRecord(const Query& row) {
  MapRecord map{
      .uuid = row.text(0), .appID = row.text(1), .userID = row.text(2), .mapID = row.text(3), .location = {}};
  if (!row.isNull(4)) {
    map.location = Location{.longitude = row.real(4),
                            .latitude = row.real(5),
                            .altitude = row.real(6),
                            .horizontalAccuracy = row.real(7),
                            .verticalAccuracy = row.real(8)};
  }
  return map;
}

bool mapExists(Database& database, const std::string& uuid) {
  return Query(database, "SELECT 1 FROM maps WHERE uuid = ?", uuid).next();
}

void putRow(Database& database, const std::string& table, const ItemRecord& item) {
  Query(database, "INSERT OR REPLACE INTO items (table_name, hash, range, attributes) VALUES (?, ?, ?, ?)",
        table, Blob{item.key.hash}, Blob{item.key.range}, item.text)
      .run();
}

void removeTransforms(Database& database, const std::string& mapUUID) {
  Query(database, "DELETE FROM items WHERE table_name = ? AND hash = ?", tables::TRANSFORMATIONS,
        Blob{mapUUID})
      .run();
}

std::optional<std::string> itemText(Database& database, const std::string& table, const ItemKey& key) {
  Query query(database, "SELECT attributes FROM items WHERE table_name = ? AND hash = ? AND range = ?", table,
              Blob{key.hash}, Blob{key.range});
  if (!query.next()) return std::nullopt;
  return query.text(0);
}

}  // namespace

/// Borrows a reading connection, opening one when all are busy: there are never more than simultaneous
/// readers.
class Store::Reader {
 public:
  explicit Reader(Store& store) : store_(store) {
    {
      const base::MutexLock guard(store_.readersMutex_);
      if (!store_.idleReaders_.empty()) {
        database_ = std::move(store_.idleReaders_.back());
        store_.idleReaders_.pop_back();
      }
    }
    if (!database_) database_ = std::make_unique<Database>(store_.file_, Database::Access::readOnly);
  }
  ~Reader() {
    const base::MutexLock guard(store_.readersMutex_);
    if (store_.idleReaders_.size() < KEPT) store_.idleReaders_.push_back(std::move(database_));
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  Database& operator*() { return *database_; }

 private:
  static constexpr std::size_t KEPT = 8;

  Store& store_;
  std::unique_ptr<Database> database_;
};

Store::Store(const std::filesystem::path& directory) : file_(directory / "localcloud.sqlite") {
  lock_ = lockDirectory(directory);
  try {
    // Nobody else may read where people have been; files that the library adds take over this one's mode.
    ::close(::open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    auto database = std::make_unique<Database>(file_, Database::Access::readWrite);
    prepareSchema(*database, file_);
    const base::MutexLock guard(writing_);
    writer_ = std::move(database);
  } catch (const DatabaseError& error) {
    ::close(lock_);
    throw StoreError(fmt::format("cannot use {}: {}", file_.string(), error.what()));
  } catch (...) {
    ::close(lock_);
    throw;
  }
}

Store::~Store() {
  {
    const base::MutexLock guard(readersMutex_);
    idleReaders_.clear();
  }
  {
    const base::MutexLock guard(writing_);
    writer_.reset();
  }
  ::close(lock_);
}

void Store::addMap(const MapRecord& map) {
  const auto& at = map.location;
  const auto value = [&](double Location::*field) -> std::optional<double> {
    return at ? std::optional((*at).*field) : std::nullopt;
  };
  const base::MutexLock guard(writing_);
  Query(*writer_,
        "INSERT INTO maps (uuid, app_id, user_id, map_id, longitude, latitude, altitude, horizontal_accuracy,"
        " vertical_accuracy) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)",
        map.uuid, map.appID, map.userID, map.mapID, value(&Location::longitude), value(&Location::latitude),
        value(&Location::altitude), value(&Location::horizontalAccuracy), value(&Location::verticalAccuracy))
      .run();
}

bool Store::hasMap(const std::string& uuid) {
  Reader reader(*this);
  return mapExists(*reader, uuid);
}

std::vector<MapRecord> Store::locatedMaps(const std::string& appID, const std::optional<std::string>& userID,
                                          double south, double north) {
  Reader reader(*this);
  Query query(
      *reader,
      "SELECT uuid, app_id, user_id, map_id, longitude, latitude, altitude, horizontal_accuracy,"
      " vertical_accuracy FROM maps AS map WHERE app_id = ?1 AND latitude BETWEEN ?3 AND ?4"
      " AND (?2 IS NULL OR user_id = ?2) AND number ="
      " (SELECT MAX(number) FROM maps WHERE app_id = map.app_id AND map_id = map.map_id) ORDER BY number",
      appID, userID, south, north);
  std::vector<MapRecord> maps;
  while (query.next()) maps.push_back(mapRecord(query));
  return maps;
}

std::optional<std::string> Store::openLocalizationSession(const std::string& sessionUUID,
                                                          const std::string& appID,
                                                          const std::string& mapID) {
  const base::MutexLock guard(writing_);
  Transaction transaction(*writer_);
  std::string mapUUID;
  {
    Query newest(*writer_,
                 "SELECT uuid FROM maps WHERE app_id = ? AND map_id = ? ORDER BY number DESC LIMIT 1", appID,
                 mapID);
    if (!newest.next()) return std::nullopt;
    mapUUID = newest.text(0);
  }
  Query(*writer_, "INSERT INTO localization_sessions (uuid, map_uuid) VALUES (?, ?)", sessionUUID, mapUUID)
      .run();
  removeTransforms(*writer_, mapUUID);
  transaction.commit();
  return mapUUID;
}

std::optional<std::string> Store::mapOfSession(const std::string& sessionUUID) {
  Reader reader(*this);
  Query query(*reader, "SELECT map_uuid FROM localization_sessions WHERE uuid = ?", sessionUUID);
  if (!query.next()) return std::nullopt;
  return query.text(0);
}

bool Store::replaceTransform(const std::string& sessionUUID, const std::string& mapUUID,
                             const ItemRecord& row) {
  const base::MutexLock guard(writing_);
  Transaction transaction(*writer_);
  {
    Query current(*writer_,
                  "SELECT uuid FROM localization_sessions WHERE map_uuid = ? ORDER BY number DESC LIMIT 1",
                  mapUUID);
    if (!current.next() || current.text(0) != sessionUUID) return false;
  }
  removeTransforms(*writer_, mapUUID);
  putRow(*writer_, tables::TRANSFORMATIONS, row);
  transaction.commit();
  return true;
}

bool Store::place(const std::string& mapUUID, const std::string& placementID,
                  const std::vector<PlacementRecord>& placements) {
  const base::MutexLock guard(writing_);
  Transaction transaction(*writer_);
  if (!mapExists(*writer_, mapUUID)) return false;
  for (const PlacementRecord& placement : placements) {
    Query(*writer_,
          "INSERT INTO placements (map_uuid, asset_id, placement_id, x, y, z, orientation) VALUES (?, ?, ?, "
          "?, ?, ?, ?)"
          " ON CONFLICT (map_uuid, asset_id) DO UPDATE SET placement_id = excluded.placement_id, x = "
          "excluded.x,"
          " y = excluded.y, z = excluded.z, orientation = excluded.orientation",
          mapUUID, placement.assetID, placementID, placement.x, placement.y, placement.z,
          placement.orientation)
        .run();
  }
  transaction.commit();
  return true;
}

std::optional<std::vector<PlacementRecord>> Store::placements(const std::string& mapUUID) {
  Reader reader(*this);
  if (!mapExists(*reader, mapUUID)) return std::nullopt;
  Query query(*reader,
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

bool Store::createTable(const TableRecord& table) {
  const base::MutexLock guard(writing_);
  std::optional<std::string> rangeName;
  std::optional<std::string> rangeType;
  if (table.range) {
    rangeName = table.range->name;
    rangeType = std::string(1, table.range->type);
  }
  return Query(*writer_, "INSERT OR IGNORE INTO tables VALUES (?, ?, ?, ?, ?, ?)", table.name,
               table.hash.name, std::string(1, table.hash.type), rangeName, rangeType, table.created)
             .run() > 0;
}

std::optional<TableRecord> Store::table(const std::string& name) {
  Reader reader(*this);
  Query query(*reader,
              "SELECT hash_name, hash_type, range_name, range_type, created FROM tables WHERE name = ?",
              name);
  if (!query.next()) return std::nullopt;
  TableRecord table{
      .name = name, .hash = {query.text(0), query.text(1).at(0)}, .range = {}, .created = query.real(4)};
  if (!query.isNull(2)) table.range = KeyAttribute{query.text(2), query.text(3).at(0)};
  return table;
}

std::vector<std::string> Store::tableNames() {
  Reader reader(*this);
  Query query(*reader, "SELECT name FROM tables ORDER BY name");
  std::vector<std::string> names;
  while (query.next()) names.push_back(query.text(0));
  return names;
}

std::int64_t Store::itemCount(const std::string& table) {
  Reader reader(*this);
  Query query(*reader, "SELECT COUNT(*) FROM items WHERE table_name = ?", table);
  query.next();
  return query.integer(0);
}

std::optional<std::string> Store::putItem(const std::string& table, const ItemRecord& item) {
  const base::MutexLock guard(writing_);
  auto old = itemText(*writer_, table, item.key);
  putRow(*writer_, table, item);
  return old;
}

std::optional<std::string> Store::item(const std::string& table, const ItemKey& key) {
  Reader reader(*this);
  return itemText(*reader, table, key);
}

void Store::scan(const std::string& table, const std::optional<ItemKey>& after,
                 const std::function<bool(ItemRecord)>& visit) {
  Reader reader(*this);
  const auto walk = [&](Query&& query) {
    while (query.next() && visit({.key = {query.text(0), query.text(1)}, .text = query.text(2)})) {
    }
  };
  if (after) {
    walk(Query(*reader,
               "SELECT hash, range, attributes FROM items WHERE table_name = ? AND (hash, range) > (?, ?)"
               " ORDER BY hash, range",
               table, Blob{after->hash}, Blob{after->range}));
  } else {
    walk(Query(*reader, "SELECT hash, range, attributes FROM items WHERE table_name = ? ORDER BY hash, range",
               table));
  }
}

std::vector<std::string> Store::items(const std::string& table, const std::string& hash) {
  Reader reader(*this);
  Query query(*reader, "SELECT attributes FROM items WHERE table_name = ? AND hash = ? ORDER BY range", table,
              Blob{hash});
  std::vector<std::string> texts;
  while (query.next()) texts.push_back(query.text(0));
  return texts;
}

void Store::count(const std::vector<MetricRecord>& metrics) {
  const base::MutexLock guard(writing_);
  Transaction transaction(*writer_);
  for (const MetricRecord& metric : metrics) {
    Query(*writer_,
          "INSERT INTO metrics VALUES (?, ?, ?, ?, ?) ON CONFLICT (space, name, dimensions)"
          " DO UPDATE SET samples = samples + excluded.samples, sum = sum + excluded.sum",
          metric.space, metric.name, metric.dimensions, metric.samples, metric.sum)
        .run();
  }
  transaction.commit();
}

std::vector<MetricRecord> Store::metrics() {
  Reader reader(*this);
  Query query(*reader,
              "SELECT space, name, dimensions, samples, sum FROM metrics ORDER BY space, name, dimensions");
  std::vector<MetricRecord> metrics;
  while (query.next()) {
    metrics.push_back({.space = query.text(0),
                       .name = query.text(1),
                       .dimensions = query.text(2),
                       .samples = query.integer(3),
                       .sum = query.real(4)});
  }
  return metrics;
}

}  // namespace geoloom::localcloud
