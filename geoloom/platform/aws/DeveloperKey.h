#pragma once

#include <string>
#include <string_view>

namespace geoloom::platform {

/// The values derived from a developer key. The kit and the local cloud share this derivation; a change would
/// invalidate every key in use. Pure functions, callable from any thread. Only the hash and the access key
/// may be printed.
struct DeveloperKey {
  /// The credential pair of the table and metrics services.
  struct Pair {
    std::string accessKey;
    std::string secretKey;
  };

  /// Message of the HMAC that derives a secret key.
  static constexpr std::string_view SECRET_KEY_LABEL = "geoloom tables and metrics v1";

  /// MD5 of the key's bytes as 32 lower-case hexadecimal digits.
  [[nodiscard]] static std::string hash(std::string_view developerKey);

  /// "<access key>:<secret key>" (split at the first colon) contains its pair. Any other key, also one with
  /// an empty half, gives its hash as access key and hexadecimal HMAC-SHA256(key, SECRET_KEY_LABEL) as secret
  /// key.
  [[nodiscard]] static Pair pair(std::string_view developerKey);
};

}  // namespace geoloom::platform
