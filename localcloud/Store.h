#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "geoloom/base/Mutex.h"

#include "localcloud/Database.h"

namespace geoloom::localcloud {

/// The store's directory cannot be used; the text is one line with the reason and the remedy.
class StoreError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// All data of the service, in one SQLite file in a directory. Maps.h, Sessions.h, Sightings.h, Tables.h and
/// Metrics.h have the functions that read and write it.
///
///     store.write([&](Database& database) { maps::add(database, map); });
///
/// May be used from any thread: writers wait for each other, readers do not wait.
class Store {
 public:
  static constexpr int SCHEMA_VERSION = 2;

  /// Creates the directory if it is missing and locks it for this object. Throws StoreError if it cannot be
  /// created or written, is locked, or was written by a newer version.
  explicit Store(const std::filesystem::path& directory);
  ~Store();

  /// Runs `work` and returns its result. Throws DatabaseError if the disk or the file fails.
  template <class Work>
  auto read(const Work& work) {
    const Reader reader(*this);
    return work(reader.database());
  }

  /// The same in one transaction: it is on the disk when this returns, and rolled back if `work` throws.
  template <class Work>
  auto write(const Work& work) {
    const base::MutexLock guard(writing_);
    Transaction transaction(*writer_);
    if constexpr (std::is_void_v<std::invoke_result_t<Work, Database&>>) {
      work(*writer_);
      transaction.commit();
    } else {
      auto result = work(*writer_);
      transaction.commit();
      return result;
    }
  }

 private:
  /// Borrows a reading connection; opens a new one if all are in use.
  class Reader {
   public:
    explicit Reader(Store& store);
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    [[nodiscard]] Database& database() const { return *database_; }

   private:
    Store& store_;
    std::unique_ptr<Database> database_;
  };

  std::filesystem::path file_;
  int lock_ = -1;

  base::Mutex writing_;
  std::unique_ptr<Database> writer_ GEOLOOM_GUARDED_BY(writing_);

  base::Mutex readersMutex_;
  std::vector<std::unique_ptr<Database>> idleReaders_ GEOLOOM_GUARDED_BY(readersMutex_);
};

}  // namespace geoloom::localcloud
