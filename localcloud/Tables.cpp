#include "localcloud/Tables.h"

namespace geoloom::localcloud::tables {

bool create(Database& database, const TableRecord& table) {
  std::optional<std::string> rangeName;
  std::optional<std::string> rangeType;
  if (table.range) {
    rangeName = table.range->name;
    rangeType = std::string(1, table.range->type);
  }
  return Query(database, "INSERT OR IGNORE INTO tables VALUES (?, ?, ?, ?, ?, ?)", table.name,
               table.hash.name, std::string(1, table.hash.type), rangeName, rangeType, table.created)
             .run() > 0;
}

std::optional<TableRecord> find(Database& database, const std::string& name) {
  Query query(database,
              "SELECT hash_name, hash_type, range_name, range_type, created FROM tables WHERE name = ?",
              name);
  if (!query.next()) return std::nullopt;
  TableRecord table{
      .name = name, .hash = {query.text(0), query.text(1).at(0)}, .range = {}, .created = query.real(4)};
  if (!query.isNull(2)) table.range = KeyAttribute{query.text(2), query.text(3).at(0)};
  return table;
}

std::vector<std::string> names(Database& database) {
  Query query(database, "SELECT name FROM tables ORDER BY name");
  std::vector<std::string> names;
  while (query.next()) names.push_back(query.text(0));
  return names;
}

std::int64_t itemCount(Database& database, const std::string& table) {
  Query query(database, "SELECT COUNT(*) FROM items WHERE table_name = ?", table);
  query.next();
  return query.integer(0);
}

void put(Database& database, const std::string& table, const ItemRecord& item) {
  Query(database, "INSERT OR REPLACE INTO items (table_name, hash, range, attributes) VALUES (?, ?, ?, ?)",
        table, Blob{item.key.hash}, Blob{item.key.range}, item.text)
      .run();
}

void remove(Database& database, const std::string& table, const std::string& hash) {
  Query(database, "DELETE FROM items WHERE table_name = ? AND hash = ?", table, Blob{hash}).run();
}

std::optional<std::string> item(Database& database, const std::string& table, const ItemKey& key) {
  Query query(database, "SELECT attributes FROM items WHERE table_name = ? AND hash = ? AND range = ?", table,
              Blob{key.hash}, Blob{key.range});
  if (!query.next()) return std::nullopt;
  return query.text(0);
}

std::vector<std::string> items(Database& database, const std::string& table, const std::string& hash) {
  Query query(database, "SELECT attributes FROM items WHERE table_name = ? AND hash = ? ORDER BY range",
              table, Blob{hash});
  std::vector<std::string> texts;
  while (query.next()) texts.push_back(query.text(0));
  return texts;
}

void scan(Database& database, const std::string& table, const std::optional<std::string>& hash,
          const std::optional<ItemKey>& after, const std::function<bool(ItemRecord)>& visit) {
  const std::string items = "SELECT hash, range, attributes FROM items WHERE table_name = ?";
  const auto walk = [&](Query&& query) {
    while (query.next() && visit({.key = {query.text(0), query.text(1)}, .text = query.text(2)})) {
    }
  };
  if (hash && after && after->hash > *hash) return;
  if (hash && after && after->hash == *hash) {
    walk(Query(database, items + " AND hash = ? AND range > ? ORDER BY range", table, Blob{*hash},
               Blob{after->range}));
  } else if (hash) {
    walk(Query(database, items + " AND hash = ? ORDER BY range", table, Blob{*hash}));
  } else if (after) {
    walk(Query(database, items + " AND (hash, range) > (?, ?) ORDER BY hash, range", table, Blob{after->hash},
               Blob{after->range}));
  } else {
    walk(Query(database, items + " ORDER BY hash, range", table));
  }
}

}  // namespace geoloom::localcloud::tables
