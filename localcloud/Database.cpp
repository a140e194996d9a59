#include "localcloud/Database.h"

#include <sqlite3.h>

namespace geoloom::localcloud {

Database::Database(const std::filesystem::path& file, Access access) {
  const int flags =
      SQLITE_OPEN_NOMUTEX |
      (access == Access::readWrite ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READONLY);
  try {
    if (sqlite3_open_v2(file.c_str(), &handle_, flags, nullptr) != SQLITE_OK) fail();
    sqlite3_busy_timeout(handle_, 5000);
    if (access == Access::readWrite) {
      // FULL: a commit is on the disk before it is acknowledged.
      execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON");
    }
  } catch (...) {
    sqlite3_close_v2(handle_);
    throw;
  }
}

Database::~Database() {
  for (const auto& [sql, statement] : statements_) sqlite3_finalize(statement);
  sqlite3_close_v2(handle_);
}

void Database::fail() const {
  throw DatabaseError(handle_ ? sqlite3_errmsg(handle_) : "out of memory");
}

void Database::execute(const std::string& sql) {
  if (sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

sqlite3_stmt* Database::prepared(std::string_view sql) {
  auto& statement = statements_[std::string(sql)];
  if (statement == nullptr &&
      sqlite3_prepare_v3(handle_, sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT,
                         &statement, nullptr) != SQLITE_OK) {
    fail();
  }
  return statement;
}

Query::~Query() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

bool Query::next() {
  const int result = sqlite3_step(statement_);
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) database_.fail();
  return false;
}

int Query::run() {
  while (next()) {
  }
  return sqlite3_changes(database_.handle_);
}

std::string Query::text(int column) const {
  const void* const bytes = sqlite3_column_blob(statement_, column);
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
  return bytes == nullptr ? std::string() : std::string(static_cast<const char*>(bytes), size);
}

std::int64_t Query::integer(int column) const {
  return sqlite3_column_int64(statement_, column);
}
double Query::real(int column) const {
  return sqlite3_column_double(statement_, column);
}
bool Query::isNull(int column) const {
  return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

void Query::bind(int at, std::string_view value) {
  const char* const bytes = value.data() == nullptr ? "" : value.data();
  if (sqlite3_bind_text64(statement_, at, bytes, value.size(), SQLITE_TRANSIENT, SQLITE_UTF8) != SQLITE_OK) {
    database_.fail();
  }
}

void Query::bind(int at, Blob value) {
  const char* const bytes = value.bytes.data() == nullptr ? "" : value.bytes.data();
  if (sqlite3_bind_blob64(statement_, at, bytes, value.bytes.size(), SQLITE_TRANSIENT) != SQLITE_OK)
    database_.fail();
}

void Query::bind(int at, std::int64_t value) {
  if (sqlite3_bind_int64(statement_, at, value) != SQLITE_OK) database_.fail();
}

void Query::bind(int at, double value) {
  if (sqlite3_bind_double(statement_, at, value) != SQLITE_OK) database_.fail();
}

void Query::bindNull(int at) {
  if (sqlite3_bind_null(statement_, at) != SQLITE_OK) database_.fail();
}

Transaction::Transaction(Database& database) : database_(database) {
  database_.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (!open_) return;
  try {
    database_.execute("ROLLBACK");
  } catch (const DatabaseError&) {
    // SQLite has rolled back by itself, for example on a full disk.
  }
}

void Transaction::commit() {
  database_.execute("COMMIT");
  open_ = false;
}

}  // namespace geoloom::localcloud
