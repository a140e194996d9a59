#include "geoloom/storage/TransformScan.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <random>
#include <utility>
#include <variant>

#include "geoloom/platform/aws/AWSDynamoDBObjectMapper.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/platform/foundation/Log.h"

namespace geoloom {
namespace {

using platform::AWSDynamoDBAttributeValue;
using platform::AWSDynamoDBObjectMapper;
using platform::AWSDynamoDBScanExpression;
using platform::AWSError;
using platform::Console;
using Page = platform::AWSDynamoDBPage<TransformRow>;

constexpr int PAGE_ITEMS = 200;

void pause(std::chrono::nanoseconds span) {
  const auto over = std::make_shared<platform::DispatchSemaphore>(0);
  platform::Clock::current()->schedule(span, [over] { over->signal(); });
  over->wait();
}

double randomFraction() {
  static thread_local std::minstd_rand generator{std::random_device{}()};
  return std::uniform_real_distribution<double>{}(generator);
}

std::optional<Page> requestPage(const AWSDynamoDBObjectMapper& mapper,
                                const AWSDynamoDBScanExpression& expression) {
  for (int tries = 1;; ++tries) {
    auto outcome = mapper.scan<TransformRow>(expression).waitUntilFinished();
    if (auto* page = std::get_if<Page>(&outcome)) return std::move(*page);
    const auto& error = std::get<AWSError>(outcome);
    Console::print("The request failed. Error: " + error.description);
    if (!error.isRetryable() || tries == MAXIMUM_SCAN_TRIES) {
      Console::print("Transform DB scan given up after " + std::to_string(tries) +
                     (tries == 1 ? " try" : " tries"));
      return std::nullopt;
    }
    pause(scanPause(tries, randomFraction()));
  }
}

}  // namespace

std::chrono::nanoseconds scanPause(int failedTries, double random) {
  constexpr std::chrono::milliseconds first{250};
  constexpr std::chrono::milliseconds longest{4000};
  const auto whole = std::min(longest, first * (1 << std::clamp(failedTries - 1, 0, 10)));
  return std::chrono::duration_cast<std::chrono::nanoseconds>(whole * (1 - random / 2));
}

std::optional<std::vector<TransformRow>> scanTransformRows(const std::string& mapUUID) {
  const auto mapper = AWSDynamoDBObjectMapper::defaultMapper();
  AWSDynamoDBScanExpression expression;
  expression.limit = PAGE_ITEMS;
  expression.filterExpression = "#sessionId = :sessionId";
  expression.expressionAttributeNames = {{"#sessionId", "SessionId"}};
  expression.expressionAttributeValues = {{":sessionId", AWSDynamoDBAttributeValue::text(mapUUID)}};

  std::vector<TransformRow> rows;
  for (int repeated = 0; repeated <= MAXIMUM_REPEATED_PAGES && rows.size() <= MAXIMUM_SCAN_ROWS;) {
    auto page = requestPage(mapper, expression);
    if (!page) return std::nullopt;
    std::move(page->items.begin(), page->items.end(), std::back_inserter(rows));
    if (!page->lastEvaluatedKey) return rows;
    repeated = page->lastEvaluatedKey == expression.exclusiveStartKey ? repeated + 1 : 0;
    expression.exclusiveStartKey = std::move(page->lastEvaluatedKey);
  }
  Console::print("Transform DB scan given up: the table has no end");
  return std::nullopt;
}

}  // namespace geoloom
