#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "geoloom/base/Result.h"
#include "geoloom/platform/aws/AWSDynamoDBObjectModel.h"
#include "geoloom/platform/aws/AWSServiceConfiguration.h"

namespace geoloom::platform {

/// The filter and the position of a scan.
struct AWSDynamoDBScanExpression {
  /// The last key of the previous page; absent for the first page.
  std::optional<AWSDynamoDBAttributes> exclusiveStartKey;
  /// Items evaluated per page, before the filter; absent leaves it to the service.
  std::optional<int> limit;
  std::optional<std::string> filterExpression;
  std::map<std::string, std::string> expressionAttributeNames;
  AWSDynamoDBAttributes expressionAttributeValues;
};

/// One page of a scan. A page with a last key, full or empty, is followed by another.
template <class Row>
struct AWSDynamoDBPage {
  /// In the order of the service.
  std::vector<Row> items;
  std::optional<AWSDynamoDBAttributes> lastEvaluatedKey;
};

/// Reads and writes rows of cloud tables, with the configuration's deadline for each request. Failures
/// contain no secret. Cheap to copy; may be used from any thread.
class AWSDynamoDBObjectMapper {
 public:
  /// The mapper of the default service configuration as it is now.
  [[nodiscard]] static AWSDynamoDBObjectMapper defaultMapper();

  explicit AWSDynamoDBObjectMapper(std::shared_ptr<const AWSServiceConfiguration> configuration);

  /// Requests one page of the row type's table and blocks until it arrives. If a reused connection closes
  /// without an answer, the request is sent again over another.
  template <AWSDynamoDBModeling Row>
  requires std::default_initializable<Row>
  [[nodiscard]] base::Result<AWSDynamoDBPage<Row>> scan(const AWSDynamoDBScanExpression& expression) const {
    base::Result<AWSDynamoDBPage<JSON>> items = requestPage(Row::dynamoDBTableName(), expression);
    if (!items) return items.failure();
    AWSDynamoDBPage<Row> page{.items = {}, .lastEvaluatedKey = std::move(items->lastEvaluatedKey)};
    page.items.reserve(items->items.size());
    for (const JSON& item : items->items) page.items.push_back(fromItem<Row>(item));
    return page;
  }

  /// Writes the row, replacing the one with the same key. Returns at once; `completion` runs once, on the
  /// serial queue of all mappers. The request is never repeated.
  template <AWSDynamoDBModeling Row>
  // clang-tidy sees the move only in files that call this. NOLINTNEXTLINE(*-unnecessary-value-param)
  void save(const Row& row, std::function<void(const base::Result<void>&)> completion) const {
    putItem(Row::dynamoDBTableName(), toAttributes(row), std::move(completion));
  }

 private:
  [[nodiscard]] base::Result<AWSDynamoDBPage<JSON>> requestPage(
      std::string_view table, const AWSDynamoDBScanExpression& expression) const;
  void putItem(std::string_view table, const AWSDynamoDBAttributes& item,
               std::function<void(const base::Result<void>&)> completion) const;

  std::shared_ptr<const AWSServiceConfiguration> configuration_;
};

}  // namespace geoloom::platform
