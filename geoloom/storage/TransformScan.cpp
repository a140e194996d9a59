#include "geoloom/storage/TransformScan.h"

#include <algorithm>
#include <random>
#include <utility>

#include "geoloom/platform/aws/AWSDynamoDBObjectMapper.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/Log.h"

namespace geoloom {
namespace {

using platform::AWSDynamoDBAttributeValue;
using platform::AWSDynamoDBScanExpression;
using Page = platform::AWSDynamoDBPage<TransformRow>;

constexpr int PAGE_ITEMS = 200;

double randomFraction() {
  static thread_local std::minstd_rand generator{std::random_device{}()};
  return std::uniform_real_distribution<double>{}(generator);
}

AWSDynamoDBScanExpression expressionFor(const std::string& mapUUID) {
  AWSDynamoDBScanExpression expression;
  expression.limit = PAGE_ITEMS;
  expression.filterExpression = "#sessionId = :sessionId";
  expression.expressionAttributeNames = {{"#sessionId", "SessionId"}};
  expression.expressionAttributeValues = {{":sessionId", AWSDynamoDBAttributeValue::text(mapUUID)}};
  return expression;
}

void sleepOnClock(std::chrono::nanoseconds pause) {
  // Shared, since a test's clock may drop the action.
  const auto over = std::make_shared<platform::DispatchSemaphore>(0);
  platform::Clock::current()->schedule(pause, [over] { over->signal(); });
  over->wait();
}

/// One page, requested until it arrives or MAXIMUM_SCAN_TRIES is reached.
base::Result<Page> requestPage(const platform::AWSDynamoDBObjectMapper& mapper,
                               const AWSDynamoDBScanExpression& expression) {
  for (int tries = 1;; ++tries) {
    base::Result<Page> page = mapper.scan<TransformRow>(expression);
    if (page) return page;
    platform::Console::print("The request failed. Error: " + page.failure().message);
    if (tries == MAXIMUM_SCAN_TRIES)
      return base::Failure{"Transform DB scan given up after " + std::to_string(tries) + " tries"};
    sleepOnClock(scanPause(tries, randomFraction()));
  }
}

}  // namespace

std::chrono::nanoseconds scanPause(int failedTries, double random) {
  constexpr std::chrono::milliseconds FIRST{250};
  constexpr std::chrono::milliseconds LONGEST{4000};
  const auto whole = std::min(LONGEST, FIRST * (1 << std::clamp(failedTries - 1, 0, 10)));
  return std::chrono::duration_cast<std::chrono::nanoseconds>(whole * (1 - random / 2));
}

base::Result<TransformScan> scanTransformRows(const std::string& mapUUID) {
  const auto clock = platform::Clock::current();
  const auto deadline = clock->uptime() + SCAN_DEADLINE;
  const auto mapper = platform::AWSDynamoDBObjectMapper::defaultMapper();
  AWSDynamoDBScanExpression expression = expressionFor(mapUUID);
  TransformScan scan;
  while (true) {
    base::Result<Page> page = requestPage(mapper, expression);
    if (!page) return page.failure();
    for (TransformRow& row : page->items) {
      // A service that ignores the filter also returns rows of other maps.
      if (row.SessionId.value_or(mapUUID) != mapUUID) continue;
      ++scan.rows;
      if (isUsable(row) && (!scan.best || isBetter(row, *scan.best))) scan.best = std::move(row);
    }
    if (!page->lastEvaluatedKey) return scan;
    if (page->lastEvaluatedKey == expression.exclusiveStartKey)
      return base::Failure{"Transform DB scan given up: a page ends with the key that it began after"};
    if (clock->uptime() >= deadline)
      return base::Failure{"Transform DB scan given up: it takes longer than 10 minutes"};
    expression.exclusiveStartKey = std::move(page->lastEvaluatedKey);
  }
}

}  // namespace geoloom
