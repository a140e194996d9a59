#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>

struct sqlite3;
struct sqlite3_stmt;

namespace geoloom::localcloud {

/// A failed operation of the database; the text is the reason.
class DatabaseError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// One SQLite connection with its prepared statements. Used by one thread at a time.
class Database {
 public:
  enum class Access { readWrite, readOnly };

  /// Opens the file (and creates it for readWrite), in write-ahead mode, with every commit synced to the
  /// disk. Throws DatabaseError.
  Database(const std::filesystem::path& file, Access access);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  /// Runs statements without parameters or results.
  void execute(const std::string& sql);

 private:
  friend class Query;
  [[noreturn]] void fail() const;
  sqlite3_stmt* prepared(std::string_view sql);

  sqlite3* handle_ = nullptr;
  std::unordered_map<std::string, sqlite3_stmt*> statements_;
};

/// A parameter that is stored as bytes, not as text.
struct Blob {
  std::string_view bytes;
};

/// One run of a prepared statement; parameters are bound in order. Throws DatabaseError. At most one run of
/// the same text is alive on a connection.
class Query {
 public:
  template <class... Values>
  Query(Database& database, std::string_view sql, const Values&... values)
      : database_(database), statement_(database.prepared(sql)) {
    int at = 0;
    (bind(++at, values), ...);
  }
  ~Query();
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  /// Moves to the next row; false after the last.
  bool next();
  /// Runs a statement that yields no rows and returns how many rows it changed.
  int run();

  [[nodiscard]] std::string text(int column) const;
  [[nodiscard]] std::int64_t integer(int column) const;
  [[nodiscard]] double real(int column) const;
  [[nodiscard]] bool isNull(int column) const;

 private:
  void bind(int at, std::string_view value);
  void bind(int at, const std::string& value) { bind(at, std::string_view(value)); }
  void bind(int at, const char* value) { bind(at, std::string_view(value)); }
  void bind(int at, Blob value);
  void bind(int at, std::int64_t value);
  void bind(int at, int value) { bind(at, static_cast<std::int64_t>(value)); }
  void bind(int at, double value);
  void bindNull(int at);
  template <class T>
  void bind(int at, const std::optional<T>& value) {
    value ? bind(at, *value) : bindNull(at);
  }

  Database& database_;
  sqlite3_stmt* statement_;
};

/// A write transaction, rolled back unless committed.
class Transaction {
 public:
  explicit Transaction(Database& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  void commit();

 private:
  Database& database_;
  bool open_ = true;
};

}  // namespace geoloom::localcloud
