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

/// The page that a successful Scan was answered with, its items not yet rows; without "Items" it has none. A
/// body that is no page is a transport error.
[[nodiscard]] AWSResult<AWSDynamoDBPage<JSON>> readPage(std::string_view body);

/// The error in the answer to a PutItem that was answered with success; nothing when it is the service's.
[[nodiscard]] std::optional<AWSError> readSaved(std::string_view body);

/// The error that an answer with this status and body stands for; nothing for a success (a status of 200).
/// The description is one line: type, message and status as far as they are known, from JSON or XML.
[[nodiscard]] std::optional<AWSError> readError(int status, std::string_view body);

}  // namespace geoloom::platform::dynamodb
