#pragma once

#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
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
/// May be used from any thread. Readers do not wait for writers. Writers that wait for their turn are written
/// by the next one along with its own, since bringing a commit to the disk takes longer than most writes.
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

  /// The same for changes: they are on the disk when this returns, and rolled back if `work` throws. `work`
  /// may run on the thread of another writer.
  template <class Work>
  auto write(const Work& work) {
    using Result = std::invoke_result_t<Work, Database&>;
    if constexpr (std::is_void_v<Result>) {
      commit(work);
    } else {
      std::optional<Result> result;
      commit([&](Database& database) { result.emplace(work(database)); });
      return *std::move(result);
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

  struct Write {
    const std::function<void(Database&)>& work;
    bool isDone = false;
    std::exception_ptr failure = nullptr;
  };

  void commit(const std::function<void(Database&)>& work);
  void commitAll(const std::vector<Write*>& writes) GEOLOOM_REQUIRES(writing_);

  std::filesystem::path file_;
  int lock_ = -1;

  base::Mutex waitingMutex_;
  std::vector<Write*> waiting_ GEOLOOM_GUARDED_BY(waitingMutex_);
  base::Mutex writing_;
  std::unique_ptr<Database> writer_ GEOLOOM_GUARDED_BY(writing_);

  base::Mutex readersMutex_;
  std::vector<std::unique_ptr<Database>> idleReaders_ GEOLOOM_GUARDED_BY(readersMutex_);
};

}  // namespace geoloom::localcloud
