#include "geoloom/platform/aws/DeveloperKey.h"

#include <array>

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/provider.h>

#include "geoloom/base/Hexadecimal.h"

namespace geoloom::platform {

namespace {

// A library context of our own: MD5 names a key here and protects nothing, so it has to work in processes
// whose default context allows approved digests only.
const EVP_MD* md5() {
  static const EVP_MD* const digest = [] {
    OSSL_LIB_CTX* const context = OSSL_LIB_CTX_new();
    OSSL_PROVIDER_load(context, "default");
    return EVP_MD_fetch(context, "MD5", nullptr);
  }();
  return digest;
}

}  // namespace

std::string DeveloperKey::hash(std::string_view developerKey) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  EVP_Digest(developerKey.data(), developerKey.size(), digest.data(), &size, md5(), nullptr);
  return base::hexadecimal({digest.data(), size});
}

DeveloperKey::Pair DeveloperKey::pair(std::string_view developerKey) {
  const auto colon = developerKey.find(':');
  if (colon != std::string_view::npos && colon > 0 && colon + 1 < developerKey.size()) {
    return {std::string(developerKey.substr(0, colon)), std::string(developerKey.substr(colon + 1))};
  }
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  HMAC(EVP_sha256(), developerKey.empty() ? "" : developerKey.data(), static_cast<int>(developerKey.size()),
       reinterpret_cast<const unsigned char*>(SECRET_KEY_LABEL.data()), SECRET_KEY_LABEL.size(),
       digest.data(), &size);
  return {hash(developerKey), base::hexadecimal({digest.data(), size})};
}

}  // namespace geoloom::platform
