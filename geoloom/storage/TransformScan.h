#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "geoloom/base/Result.h"
#include "geoloom/storage/TransformRow.h"

namespace geoloom {

/// Tries of one page before a scan fails.
inline constexpr int MAXIMUM_SCAN_TRIES = 5;

/// Time for a whole scan, with all its pages and pauses.
inline constexpr std::chrono::minutes SCAN_DEADLINE{10};

/// Pause after the given number of failed tries of a page: 250 ms, doubled with each, at most 4 s. A random
/// part of up to one half is subtracted, so that devices that failed together do not retry together. `random`
/// is in [0, 1].
[[nodiscard]] std::chrono::nanoseconds scanPause(int failedTries, double random);

/// The result of a scan; rows are not kept.
struct TransformScan {
  std::size_t rows = 0;
  /// The best row (isBetter), the first of equals; absent if no row is usable.
  std::optional<TransformRow> best;
};

/// Scans the default table service for the rows of the map, page by page, in the table's order. Blocks the
/// calling thread; call it from a task of a queue (see platform::BlockingScope). A page that fails is
/// requested again after a pause on the current clock; each failure is one line on the console. Fails after
/// MAXIMUM_SCAN_TRIES tries of one page, after SCAN_DEADLINE, and when a page ends with the key that it began
/// after.
[[nodiscard]] base::Result<TransformScan> scanTransformRows(const std::string& mapUUID);

}  // namespace geoloom
