#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/base/Mutex.h"

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

/// What was counted under one metric name and one set of dimensions.
struct MetricRecord {
  std::string space;
  std::string name;
  std::string dimensions;  ///< JSON array of {"Name", "Value"}
  std::int64_t samples = 0;
  double sum = 0;
};

/// The store's directory cannot be used; the text is one line that says why and what to do.
class StoreError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Everything the service keeps, in one SQLite file of one directory. When a writing operation returns, what
/// it wrote is on the disk. Operations may be called from any thread; writers take turns, readers do not wait
/// for them and see a consistent state each. All operations throw DatabaseError when the disk or the file
/// fails.
class Store {
 public:
  static constexpr int SCHEMA_VERSION = 1;

  /// Makes the directory where it is missing and holds it for this object alone. Throws StoreError when it
  /// cannot be made or written, is held by another, or was written by a newer version.
  explicit Store(const std::filesystem::path& directory);
  ~Store();

  void addMap(const MapRecord& map);
  [[nodiscard]] bool hasMap(const std::string& uuid);
  /// The newest map of each map identifier of the application that has a location between the two latitudes.
  [[nodiscard]] std::vector<MapRecord> locatedMaps(const std::string& appID,
                                                   const std::optional<std::string>& userID, double south,
                                                   double north);

  /// Opens a session against the application's newest map of that identifier and removes the rows that
  /// earlier sessions against it left in "Transformations". Returns the map's UUID, or nothing when there is
  /// no such map.
  std::optional<std::string> openLocalizationSession(const std::string& sessionUUID, const std::string& appID,
                                                     const std::string& mapID);
  /// The map that a localization session was opened against.
  [[nodiscard]] std::optional<std::string> mapOfSession(const std::string& sessionUUID);
  /// Puts the one "Transformations" row of the session's map in the place of the earlier ones, unless a newer
  /// session was opened meanwhile; then nothing is written and the result is false.
  bool replaceTransform(const std::string& sessionUUID, const std::string& mapUUID, const ItemRecord& row);

  /// A placement of a known asset identifier takes the place of the earlier one. False when there is no such
  /// map.
  bool place(const std::string& mapUUID, const std::string& placementID,
             const std::vector<PlacementRecord>& placements);
  /// In the order in which the assets were first placed; nothing when there is no such map.
  [[nodiscard]] std::optional<std::vector<PlacementRecord>> placements(const std::string& mapUUID);

  /// False when the name is taken.
  bool createTable(const TableRecord& table);
  [[nodiscard]] std::optional<TableRecord> table(const std::string& name);
  [[nodiscard]] std::vector<std::string> tableNames();
  [[nodiscard]] std::int64_t itemCount(const std::string& table);
  /// Returns the text of the item it replaced.
  std::optional<std::string> putItem(const std::string& table, const ItemRecord& item);
  [[nodiscard]] std::optional<std::string> item(const std::string& table, const ItemKey& key);
  /// Visits the items after a key in the order of their keys until there are no more or `visit` returns
  /// false.
  void scan(const std::string& table, const std::optional<ItemKey>& after,
            const std::function<bool(ItemRecord)>& visit);
  /// The items of one hash key in the order of their range keys.
  [[nodiscard]] std::vector<std::string> items(const std::string& table, const std::string& hash);

  void count(const std::vector<MetricRecord>& metrics);
  [[nodiscard]] std::vector<MetricRecord> metrics();

 private:
  class Reader;

  std::filesystem::path file_;
  int lock_ = -1;

  base::Mutex writing_;
  std::unique_ptr<Database> writer_ GEOLOOM_GUARDED_BY(writing_);

  base::Mutex readersMutex_;
  std::vector<std::unique_ptr<Database>> idleReaders_ GEOLOOM_GUARDED_BY(readersMutex_);
};

/// Names of the two tables that exist from the start, and of the attributes the service reads and writes.
namespace tables {
inline constexpr const char* TRANSFORMATIONS = "Transformations";
inline constexpr const char* SCENE_UNDERSTANDING = "SceneUnderstanding";
inline constexpr const char* SESSION_ID = "SessionId";
inline constexpr const char* TIMESTAMP = "Timestamp";
inline constexpr const char* FRAME_ID = "FrameId";
inline constexpr const char* MATCH_COUNT = "MatchCount";
inline constexpr const char* MATCH_VALUE = "MatchValue";
inline constexpr const char* TRANSFORM = "Transform";
inline constexpr const char* OBJECT_NAME = "ObjectName";
inline constexpr const char* POSITION_X = "PositionX";
inline constexpr const char* POSITION_Y = "PositionY";
inline constexpr const char* POSITION_Z = "PositionZ";
}  // namespace tables

}  // namespace geoloom::localcloud
