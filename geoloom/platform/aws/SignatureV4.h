#pragma once

#include <string>
#include <string_view>

#include "geoloom/base/Digest.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/network/HTTPClient.h"

namespace geoloom::platform::signature {

/// The key that signs the requests of one day to one service. Never printed.
struct Key {
  std::string accessKey;
  std::string scope;
  base::SHA256Digest bytes;
};

/// "20150830T123600Z", of which the first eight characters are the day.
[[nodiscard]] std::string timeText(Date time);

/// The scope of a key: "20150830/us-west-2/dynamodb/aws4_request".
[[nodiscard]] std::string scopeOf(std::string_view day, std::string_view region, std::string_view service);

/// The key of a day (eight digits). Four rounds of HMAC-SHA256: worth keeping for the day.
[[nodiscard]] Key deriveKey(const std::string& accessKey, const std::string& secretKey, std::string_view day,
                            std::string_view region, std::string_view service);

/// Adds the headers of Signature Version 4 for a POST: "Host", "X-Amz-Date" (`time`, of the key's day) and
/// "Authorization". Content type, body and the headers present must be final, each name once; all of them are
/// signed. A query must be in its canonical form: sorted, encoded, every name with its "=". Source: the
/// provider's published description of the algorithm.
void sign(HTTPRequest& request, const Key& key, std::string_view time);

}  // namespace geoloom::platform::signature
