#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/storage/TransformRow.h"

namespace geoloom {

/// Tries of one page before a scan gives up.
inline constexpr int MAXIMUM_SCAN_TRIES = 5;

/// Pages that may end with a key that the scan remembers, pages altogether, and rows that a scan holds. A
/// service that goes on beyond would keep the scan for ever.
inline constexpr int MAXIMUM_REPEATED_PAGES = 20;
inline constexpr int MAXIMUM_SCAN_PAGES = 100'000;
inline constexpr std::size_t MAXIMUM_SCAN_ROWS = 200'000;

/// Pause after the given number of failed tries of a page: 250 ms, doubled with each, at most 4 s, of which a
/// random half may be missing so that many devices do not come back at once. `random` is in [0, 1].
[[nodiscard]] std::chrono::nanoseconds scanPause(int failedTries, double random);

/// All rows of the map, page by page, in the table's order, from the default table service. Waits for
/// nothing: `completion` runs once, on `queue`, as everything here; pauses run on the current clock. Each
/// failed try is a line on the console. Nothing when a page was given up, or when the service found no end.
void scanTransformRows(const std::string& mapUUID, std::shared_ptr<platform::DispatchQueue> queue,
                       std::function<void(std::optional<std::vector<TransformRow>>)> completion);

}  // namespace geoloom
