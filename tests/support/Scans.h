#pragma once

#include <future>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "geoloom/platform/aws/AWSDynamoDBObjectMapper.h"
#include "geoloom/platform/foundation/Dispatch.h"
#include "geoloom/storage/TransformScan.h"

namespace geoloom::testing {

/// A page of the default table service, when it has come.
template <class Row>
platform::AWSResult<platform::AWSDynamoDBPage<Row>> pageOf(
    const platform::AWSDynamoDBScanExpression& expression,
    const platform::AWSDynamoDBObjectMapper& mapper = platform::AWSDynamoDBObjectMapper::defaultMapper()) {
  std::promise<platform::AWSResult<platform::AWSDynamoDBPage<Row>>> page;
  mapper.scan<Row>(expression, platform::DispatchQueue::global(),
                   [&page](auto outcome) { page.set_value(std::move(outcome)); });
  return page.get_future().get();
}

/// The rows of the map, when the scan has ended.
inline std::optional<std::vector<TransformRow>> rowsOf(const std::string& mapUUID) {
  std::promise<std::optional<std::vector<TransformRow>>> rows;
  scanTransformRows(mapUUID, platform::DispatchQueue::serial("scan"),
                    [&rows](auto found) { rows.set_value(std::move(found)); });
  return rows.get_future().get();
}

}  // namespace geoloom::testing
