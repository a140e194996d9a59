#pragma once

#include <string>
#include <string_view>

#include "geoloom/platform/aws/AWSDynamoDBObjectMapper.h"

/// The table service's protocol as pure functions.
namespace geoloom::platform::dynamodb {

inline constexpr std::string_view SERVICE = "dynamodb";
inline constexpr std::string_view SCAN_TARGET = "DynamoDB_20120810.Scan";
inline constexpr std::string_view PUT_ITEM_TARGET = "DynamoDB_20120810.PutItem";

[[nodiscard]] std::string scanBody(std::string_view table, const AWSDynamoDBScanExpression& expression);
[[nodiscard]] std::string putItemBody(std::string_view table, const AWSDynamoDBAttributes& item);

/// The page in a successful answer to a Scan, with JSON items. A page without "Items" is empty.
[[nodiscard]] base::Result<AWSDynamoDBPage<JSON>> readPage(std::string_view body);

/// Fails unless the answer with status 200 to a PutItem is a JSON object, as from a table service.
[[nodiscard]] base::Result<void> readSaved(std::string_view body);

/// Success for a status of 200. The failure is one line: type, message and status as far as they are known.
[[nodiscard]] base::Result<void> readStatus(int status, std::string_view body);

}  // namespace geoloom::platform::dynamodb
