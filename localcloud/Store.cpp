#include "localcloud/Store.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include "localcloud/Maps.h"
#include "localcloud/Metrics.h"
#include "localcloud/Sessions.h"
#include "localcloud/Sightings.h"
#include "localcloud/Tables.h"

namespace geoloom::localcloud {

namespace {

std::int64_t schemaVersion(Database& database) {
  Query query(database, "PRAGMA user_version");
  query.next();
  return query.integer(0);
}

/// Format 1 had no handles, so its sessions are removed; it had only one sighting for each frame of a map.
constexpr const char* UPGRADE_FROM_1 = R"sql(
DELETE FROM items WHERE table_name = 'Transformations' OR table_name = 'SceneUnderstanding'
  AND json_extract(attributes, '$.SessionId.S') IN (SELECT uuid FROM localization_sessions);
DROP TABLE localization_sessions;
)sql";
constexpr const char* SIGHTINGS_OF_1 = R"sql(
INSERT OR IGNORE INTO sightings
  SELECT json_extract(attributes, '$.SessionId.S'), CAST(json_extract(attributes, '$.FrameId.N') AS INTEGER),
         json_extract(attributes, '$.ObjectName.S'), CAST(json_extract(attributes, '$.PositionX.N') AS REAL),
         CAST(json_extract(attributes, '$.PositionY.N') AS REAL),
         CAST(json_extract(attributes, '$.PositionZ.N') AS REAL), NULL, NULL
  FROM items WHERE table_name = 'SceneUnderstanding'
    AND json_extract(attributes, '$.SessionId.S') IN (SELECT uuid FROM maps);
)sql";

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
  if (version == 0) {
    for (const char* const schema : {maps::SCHEMA, tables::SCHEMA, metrics::SCHEMA}) database.execute(schema);
  } else {
    database.execute(UPGRADE_FROM_1);
  }
  for (const char* const schema : {sessions::SCHEMA, sightings::SCHEMA}) database.execute(schema);
  if (version == 1) database.execute(SIGHTINGS_OF_1);
  database.execute(fmt::format("PRAGMA user_version = {}", Store::SCHEMA_VERSION));
  transaction.commit();
}

/// The kernel releases the lock when the process ends, also after a crash.
int lockDirectory(const std::filesystem::path& directory) {
  std::error_code error;
  if (std::filesystem::create_directories(directory, error)) {
    std::filesystem::permissions(directory, std::filesystem::perms::owner_all, error);
  }
  if (error) {
    throw StoreError(
        fmt::format("cannot create the data directory {}: {}", directory.string(), error.message()));
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

}  // namespace

Store::Reader::Reader(Store& store) : store_(store) {
  {
    const base::MutexLock guard(store_.readersMutex_);
    if (!store_.idleReaders_.empty()) {
      database_ = std::move(store_.idleReaders_.back());
      store_.idleReaders_.pop_back();
    }
  }
  if (!database_) database_ = std::make_unique<Database>(store_.file_, Database::Access::readOnly);
}

Store::Reader::~Reader() {
  constexpr std::size_t KEPT = 32;
  const base::MutexLock guard(store_.readersMutex_);
  if (store_.idleReaders_.size() < KEPT) store_.idleReaders_.push_back(std::move(database_));
}

void Store::commit(const std::function<void(Database&)>& work) {
  Write own{work};
  {
    const base::MutexLock guard(waitingMutex_);
    waiting_.push_back(&own);
  }
  const base::MutexLock turn(writing_);
  if (!own.isDone) {
    std::vector<Write*> writes;
    {
      const base::MutexLock guard(waitingMutex_);
      writes.swap(waiting_);
    }
    commitAll(writes);
  }
  if (own.failure) std::rethrow_exception(own.failure);
}

void Store::commitAll(const std::vector<Write*>& writes) {
  std::exception_ptr rollingBack;
  try {
    Transaction transaction(*writer_);
    for (Write* const write : writes) {
      writer_->execute("SAVEPOINT write");
      try {
        write->work(*writer_);
      } catch (...) {
        write->failure = rollingBack = std::current_exception();
        writer_->execute("ROLLBACK TO write");
        rollingBack = nullptr;
      }
      writer_->execute("RELEASE write");
    }
    transaction.commit();
  } catch (...) {
    // On a full disk SQLite rolls back all of them by itself; the write that found it full says why.
    const std::exception_ptr cause = rollingBack ? rollingBack : std::current_exception();
    for (Write* const write : writes) {
      if (!write->failure) write->failure = cause;
    }
  }
  for (Write* const write : writes) write->isDone = true;
}

Store::Store(const std::filesystem::path& directory) : file_(directory / "localcloud.sqlite") {
  lock_ = lockDirectory(directory);
  try {
    // Mode 0600: locations are private. SQLite gives its other files the same mode.
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

}  // namespace geoloom::localcloud
