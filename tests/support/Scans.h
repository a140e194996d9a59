#pragma once

#include <future>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "geoloom/platform/aws/AWSDynamoDBObjectMapper.h"
#include "geoloom/platform/aws/DeveloperKey.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/storage/TransformScan.h"

namespace geoloom::test {

/// The table service and the metrics service at one address.
inline std::shared_ptr<const platform::AWSServiceConfiguration> servicesAt(
    const std::string& address, const platform::DeveloperKey::Pair& pair = {"access", "secret"}) {
  return std::make_shared<const platform::AWSServiceConfiguration>(
      platform::AWSRegionUSWest2,
      std::make_shared<platform::AWSStaticCredentialsProvider>(pair.accessKey, pair.secretKey),
      platform::AWSServiceEndpoints{.tables = address, .metrics = address});
}

/// Makes these what the default mapper asks; nullptr: nothing.
inline void makeDefault(const std::shared_ptr<const platform::AWSServiceConfiguration>& services) {
  platform::AWSServiceManager::defaultServiceManager().setDefaultServiceConfiguration(services);
}

/// What a save ended in, when it has; nothing when the row was written.
template <class Row>
std::optional<platform::AWSError> save(
    const Row& row,
    const platform::AWSDynamoDBObjectMapper& mapper = platform::AWSDynamoDBObjectMapper::defaultMapper()) {
  std::promise<std::optional<platform::AWSError>> saved;
  mapper.save(row, [&saved](const std::optional<platform::AWSError>& error) { saved.set_value(error); });
  return saved.get_future().get();
}

/// A page of the table service, when it has come.
template <class Row>
platform::AWSResult<platform::AWSDynamoDBPage<Row>> pageOf(
    const platform::AWSDynamoDBScanExpression& expression,
    const platform::AWSDynamoDBObjectMapper& mapper = platform::AWSDynamoDBObjectMapper::defaultMapper()) {
  std::promise<platform::AWSResult<platform::AWSDynamoDBPage<Row>>> page;
  mapper.scan<Row>(expression, platform::DispatchQueue::global(),
                   [&page](auto outcome) { page.set_value(std::move(outcome)); });
  return page.get_future().get();
}

/// A scan for the rows in which `attribute` is this text, so many at a time.
inline platform::AWSDynamoDBScanExpression scanFor(const std::string& attribute, const std::string& text,
                                                   int limit) {
  platform::AWSDynamoDBScanExpression expression;
  expression.limit = limit;
  expression.filterExpression = "#name = :name";
  expression.expressionAttributeNames = {{"#name", attribute}};
  expression.expressionAttributeValues = {{":name", platform::AWSDynamoDBAttributeValue::text(text)}};
  return expression;
}

/// The rows of the map, when the scan has ended.
inline std::optional<std::vector<TransformRow>> rowsOf(const std::string& mapUUID) {
  std::promise<std::optional<std::vector<TransformRow>>> rows;
  scanTransformRows(mapUUID, platform::DispatchQueue::serial("scan"),
                    [&rows](auto found) { rows.set_value(std::move(found)); });
  return rows.get_future().get();
}

}  // namespace geoloom::test
