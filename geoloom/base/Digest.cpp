#include "geoloom/base/Digest.h"

#include <openssl/evp.h>
#include <openssl/provider.h>

#include "geoloom/base/Hexadecimal.h"

namespace geoloom::base {

namespace {

OSSL_LIB_CTX* context() {
  // Never destroyed: requests are signed until the process ends.
  static OSSL_LIB_CTX* const own = [] {
    OSSL_LIB_CTX* const made = OSSL_LIB_CTX_new();
    OSSL_PROVIDER_load(made, "default");
    return made;
  }();
  return own;
}

}  // namespace

SHA256Digest sha256(std::string_view text) {
  SHA256Digest digest{};
  EVP_Q_digest(context(), "SHA256", nullptr, text.data(), text.size(), digest.data(), nullptr);
  return digest;
}

SHA256Digest hmacSHA256(std::string_view key, std::string_view message) {
  SHA256Digest digest{};
  // OpenSSL accepts an empty key but not a null one.
  EVP_Q_mac(context(), "HMAC", nullptr, "SHA256", nullptr, key.empty() ? "" : key.data(), key.size(),
            reinterpret_cast<const unsigned char*>(message.data()), message.size(), digest.data(),
            digest.size(), nullptr);
  return digest;
}

std::string md5Hexadecimal(std::string_view text) {
  std::array<std::uint8_t, 16> digest{};
  EVP_Q_digest(context(), "MD5", nullptr, text.data(), text.size(), digest.data(), nullptr);
  return hexadecimal(digest);
}

}  // namespace geoloom::base
