#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "geoloom/Export.h"
#include "geoloom/platform/aws/AWSDynamoDBObjectModel.h"
#include "geoloom/platform/aws/AWSResult.h"
#include "geoloom/platform/aws/AWSServiceConfiguration.h"
#include "geoloom/platform/foundation/Dispatch.h"

namespace geoloom::platform {

/// What to scan a table for.
struct AWSDynamoDBScanExpression {
  /// The last key of the page before; absent for the first page.
  std::optional<AWSDynamoDBAttributes> exclusiveStartKey;
  /// Items looked at a page, before the filter; absent leaves it to the service.
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

/// Reads and writes rows of cloud tables. A cheap value; may be used from any thread. Each request is tried
/// once, with the configuration's deadline.
class GEOLOOM_EXPORT AWSDynamoDBObjectMapper {
 public:
  /// The mapper of the default service configuration as it is now.
  [[nodiscard]] static AWSDynamoDBObjectMapper defaultMapper();

  explicit AWSDynamoDBObjectMapper(std::shared_ptr<const AWSServiceConfiguration> configuration);

  /// Asks for one page of the row type's table. `completion` runs once, on `queue`.
  template <AWSDynamoDBModeling Row>
  requires std::default_initializable<Row>
  void scan(const AWSDynamoDBScanExpression& expression, const std::shared_ptr<DispatchQueue>& queue,
            std::function<void(AWSResult<AWSDynamoDBPage<Row>>)> completion) const;

  /// Writes the row, replacing the one of the same key. `completion` runs once, on the mappers' own
  /// completion queue, one at a time; the error is absent when the row was written.
  template <AWSDynamoDBModeling Row>
  void save(const Row& row, const std::function<void(const std::optional<AWSError>&)>& completion) const {
    putItem(Row::dynamoDBTableName(), toAttributes(row), completion);
  }

 private:
  void requestPage(std::string_view table, const AWSDynamoDBScanExpression& expression,
                   const std::shared_ptr<DispatchQueue>& queue,
                   std::function<void(AWSResult<AWSDynamoDBPage<JSON>>)> completion) const;
  void putItem(std::string_view table, const AWSDynamoDBAttributes& item,
               std::function<void(const std::optional<AWSError>&)> completion) const;

  std::shared_ptr<const AWSServiceConfiguration> configuration_;
};

template <AWSDynamoDBModeling Row>
requires std::default_initializable<Row>
void AWSDynamoDBObjectMapper::scan(const AWSDynamoDBScanExpression& expression,
                                   const std::shared_ptr<DispatchQueue>& queue,
                                   std::function<void(AWSResult<AWSDynamoDBPage<Row>>)> completion) const {
  requestPage(Row::dynamoDBTableName(), expression, queue,
              [completion = std::move(completion)](AWSResult<AWSDynamoDBPage<JSON>> answer) {
                if (auto* error = std::get_if<AWSError>(&answer)) {
                  completion(std::move(*error));
                  return;
                }
                auto& untyped = std::get<AWSDynamoDBPage<JSON>>(answer);
                AWSDynamoDBPage<Row> page;
                page.items.reserve(untyped.items.size());
                for (const JSON& item : untyped.items) page.items.push_back(fromItem<Row>(item));
                page.lastEvaluatedKey = std::move(untyped.lastEvaluatedKey);
                completion(std::move(page));
              });
}

}  // namespace geoloom::platform
