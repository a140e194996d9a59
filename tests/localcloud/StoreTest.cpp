#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "localcloud/Store.h"
#include "localcloud/Tables.h"
#include "tests/support/TemporaryDirectory.h"

namespace geoloom::localcloud {
namespace {

TEST(Store, WritesOfManyThreadsSucceedAndFailOneByOne) {
  constexpr int THREADS = 8;
  constexpr int WRITES = 40;
  const test::TemporaryDirectory directory;
  std::atomic<int> failures = 0;
  {
    Store store(directory.path());
    std::vector<std::jthread> writers;
    for (int thread = 0; thread < THREADS; ++thread) {
      writers.emplace_back([&, thread] {
        for (int i = 0; i < WRITES; ++i) {
          try {
            store.write([&](Database& database) {
              tables::put(database, "Transformations", {{std::to_string(thread), std::to_string(i)}, "{}"});
              if (i % 4 == 0) throw std::runtime_error("rolled back");
            });
          } catch (const std::runtime_error&) {
            ++failures;
          }
        }
      });
    }
  }
  EXPECT_EQ(failures, THREADS * WRITES / 4);
  Store reopened(directory.path());
  for (int thread = 0; thread < THREADS; ++thread) {
    const auto rows = reopened.read([&](Database& database) {
      return tables::items(database, "Transformations", std::to_string(thread));
    });
    EXPECT_EQ(rows.size(), WRITES * 3 / 4) << thread;
  }
}

}  // namespace
}  // namespace geoloom::localcloud
