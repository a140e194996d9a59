#include "geoloom/storage/TransformScan.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <memory>
#include <optional>
#include <random>
#include <utility>
#include <variant>

#include "geoloom/platform/aws/AWSDynamoDBObjectMapper.h"
#include "geoloom/platform/foundation/Log.h"

namespace geoloom {
namespace {

using platform::AWSDynamoDBAttributeValue;
using platform::AWSDynamoDBObjectMapper;
using platform::AWSDynamoDBScanExpression;
using platform::AWSError;
using platform::AWSResult;
using platform::Console;
using Page = platform::AWSDynamoDBPage<TransformRow>;

constexpr int PAGE_ITEMS = 200;

double randomFraction() {
  static thread_local std::minstd_rand generator{std::random_device{}()};
  return std::uniform_real_distribution<double>{}(generator);
}

/// A scan on its way. What is under way holds it; on its queue only.
class Scan : public std::enable_shared_from_this<Scan> {
 public:
  using Completion = std::function<void(std::optional<std::vector<TransformRow>>)>;

  Scan(const std::string& mapUUID, std::shared_ptr<platform::DispatchQueue> queue, Completion completion)
      : mapUUID_(mapUUID), queue_(std::move(queue)), completion_(std::move(completion)) {
    expression_.limit = PAGE_ITEMS;
    expression_.filterExpression = "#sessionId = :sessionId";
    expression_.expressionAttributeNames = {{"#sessionId", "SessionId"}};
    expression_.expressionAttributeValues = {{":sessionId", AWSDynamoDBAttributeValue::text(mapUUID)}};
  }

  void requestPage() {
    mapper_.scan<TransformRow>(expression_, queue_, [self = shared_from_this()](AWSResult<Page> outcome) {
      if (auto* page = std::get_if<Page>(&outcome))
        self->take(std::move(*page));
      else
        self->tryAgain(std::get<AWSError>(outcome));
    });
  }

 private:
  void tryAgain(const AWSError& error) {
    ++failedTries_;
    Console::print("The request failed. Error: " + error.description);
    if (!error.isRetryable() || failedTries_ == MAXIMUM_SCAN_TRIES) {
      giveUp(" after " + std::to_string(failedTries_) + (failedTries_ == 1 ? " try" : " tries"));
      return;
    }
    queue_->asyncAfter(scanPause(failedTries_, randomFraction()),
                       [self = shared_from_this()] { self->requestPage(); });
  }

  void take(Page page) {
    failedTries_ = 0;
    // The service filters; rows of other maps come from one that cannot.
    std::copy_if(std::move_iterator(page.items.begin()), std::move_iterator(page.items.end()),
                 std::back_inserter(rows_),
                 [this](const TransformRow& row) { return row.SessionId.value_or(mapUUID_) == mapUUID_; });
    if (!page.lastEvaluatedKey) {
      completion_(std::move(rows_));
      return;
    }
    ++pages_;
    if (page.lastEvaluatedKey == landmark_) ++repeatedPages_;
    if (repeatedPages_ > MAXIMUM_REPEATED_PAGES || pages_ > MAXIMUM_SCAN_PAGES ||
        rows_.size() > MAXIMUM_SCAN_ROWS) {
      giveUp(": the table has no end");
      return;
    }
    // Brent's: once the landmark lies in a cycle of keys that is shorter than its distance, it comes again.
    if (std::has_single_bit(static_cast<unsigned>(pages_))) landmark_ = page.lastEvaluatedKey;
    expression_.exclusiveStartKey = std::move(page.lastEvaluatedKey);
    requestPage();
  }

  void giveUp(const std::string& why) {
    Console::print("Transform DB scan given up" + why);
    completion_(std::nullopt);
  }

  const AWSDynamoDBObjectMapper mapper_ = AWSDynamoDBObjectMapper::defaultMapper();
  const std::string mapUUID_;
  const std::shared_ptr<platform::DispatchQueue> queue_;
  const Completion completion_;
  AWSDynamoDBScanExpression expression_;
  std::vector<TransformRow> rows_;
  int failedTries_ = 0;
  int pages_ = 0;
  /// The last key of the latest page whose number is a power of two.
  std::optional<platform::AWSDynamoDBAttributes> landmark_;
  int repeatedPages_ = 0;
};

}  // namespace

std::chrono::nanoseconds scanPause(int failedTries, double random) {
  constexpr std::chrono::milliseconds first{250};
  constexpr std::chrono::milliseconds longest{4000};
  const auto whole = std::min(longest, first * (1 << std::clamp(failedTries - 1, 0, 10)));
  return std::chrono::duration_cast<std::chrono::nanoseconds>(whole * (1 - random / 2));
}

void scanTransformRows(const std::string& mapUUID, std::shared_ptr<platform::DispatchQueue> queue,
                       std::function<void(std::optional<std::vector<TransformRow>>)> completion) {
  std::make_shared<Scan>(mapUUID, std::move(queue), std::move(completion))->requestPage();
}

}  // namespace geoloom
