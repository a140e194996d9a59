#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace geoloom::base {

// These use a separate OpenSSL library context, so that they also work in processes whose default context
// allows only approved digests, or none. May be called from any thread.

using SHA256Digest = std::array<std::uint8_t, 32>;

[[nodiscard]] SHA256Digest sha256(std::string_view text);

/// HMAC-SHA256 (RFC 2104).
[[nodiscard]] SHA256Digest hmacSHA256(std::string_view key, std::string_view message);

/// 32 lower-case hexadecimal digits. An identifier of a key, not a protection.
[[nodiscard]] std::string md5Hexadecimal(std::string_view text);

}  // namespace geoloom::base
