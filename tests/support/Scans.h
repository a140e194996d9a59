#pragma once

#include <future>
#include <string>
#include <utility>

#include "geoloom/platform/aws/AWSDynamoDBObjectMapper.h"
#include "geoloom/platform/aws/DeveloperKey.h"

namespace geoloom::test {

/// The table service and the metrics service at one address.
inline std::shared_ptr<const platform::AWSServiceConfiguration> servicesAt(
    const std::string& address, const platform::DeveloperKey::Pair& pair = {"access", "secret"}) {
  return std::make_shared<const platform::AWSServiceConfiguration>(
      platform::AWSRegionUSWest2,
      std::make_shared<platform::AWSStaticCredentialsProvider>(pair.accessKey, pair.secretKey),
      platform::AWSServiceEndpoints{.tables = address, .metrics = address});
}

/// Makes these the default configuration; nullptr removes it.
inline void makeDefault(const std::shared_ptr<const platform::AWSServiceConfiguration>& services) {
  platform::AWSServiceManager::defaultServiceManager().setDefaultServiceConfiguration(services);
}

/// Saves the row and waits for the result.
template <class Row>
base::Result<void> save(const Row& row, const platform::AWSDynamoDBObjectMapper& mapper =
                                            platform::AWSDynamoDBObjectMapper::defaultMapper()) {
  std::promise<base::Result<void>> saved;
  mapper.save(row, [&saved](const base::Result<void>& result) { saved.set_value(result); });
  return saved.get_future().get();
}

/// A scan for the rows whose `attribute` is `text`, with `limit` items a page.
inline platform::AWSDynamoDBScanExpression scanFor(const std::string& attribute, const std::string& text,
                                                   int limit) {
  platform::AWSDynamoDBScanExpression expression;
  expression.limit = limit;
  expression.filterExpression = "#name = :name";
  expression.expressionAttributeNames = {{"#name", attribute}};
  expression.expressionAttributeValues = {{":name", platform::AWSDynamoDBAttributeValue::text(text)}};
  return expression;
}

}  // namespace geoloom::test
