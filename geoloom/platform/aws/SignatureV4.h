#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/network/HTTPClient.h"

namespace geoloom::platform::signature {

using Digest = std::array<std::uint8_t, 32>;

/// What signs the requests of one day to one service. Never printed.
struct Key {
  std::string accessKey;
  std::string scope;
  Digest bytes;
};

/// "20150830T123600Z", of which the first eight characters are the day.
[[nodiscard]] std::string timeText(Date time);

/// What a key is good for: "20150830/us-west-2/dynamodb/aws4_request".
[[nodiscard]] std::string scopeOf(std::string_view day, std::string_view region, std::string_view service);

/// The key of a day (eight digits). Four rounds of HMAC-SHA256: worth keeping for the day. Nothing where the
/// digest library has no SHA-256.
[[nodiscard]] std::optional<Key> deriveKey(const std::string& accessKey, const std::string& secretKey,
                                           std::string_view day, std::string_view region,
                                           std::string_view service);

/// Adds the headers of Signature Version 4 for a POST: "Host", "X-Amz-Date" (`time`, of the key's day) and
/// "Authorization". Content type, body and the headers that are there must be final, each name once; all of
/// them are signed. A query must be in its canonical form already: sorted, encoded, every name with its "=".
/// Source: the provider's published description of the algorithm. False where the digest library failed.
[[nodiscard]] bool sign(HTTPRequest& request, const Key& key, std::string_view time);

}  // namespace geoloom::platform::signature
