#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <string_view>

#include <fmt/format.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include "tests/support/FakeService.h"

namespace geoloom::testing {

namespace signature {

inline std::string hex(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) text += fmt::format("{:02x}", static_cast<unsigned char>(byte));
  return text;
}

inline std::string sha256(std::string_view text) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  EVP_Digest(text.data(), text.size(), digest, &size, EVP_sha256(), nullptr);
  return hex({reinterpret_cast<const char*>(digest), size});
}

inline std::string hmac(std::string_view key, std::string_view text) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
       reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest, &size);
  return {reinterpret_cast<const char*>(digest), size};
}

/// What stands between `key` and the next comma.
inline std::string field(const std::string& text, const std::string& key) {
  const std::size_t begin = text.find(key);
  if (begin == std::string::npos) return {};
  const std::size_t from = begin + key.size();
  return text.substr(from, text.find(',', from) - from);
}

}  // namespace signature

/// Verifies the Signature Version 4 of a request as it was received, from the published algorithm alone.
/// Returns what is wrong with it; empty when it is right.
[[nodiscard]] inline std::string signatureFault(const RecordedRequest& request, const std::string& accessKey,
                                                const std::string& secretKey, const std::string& region,
                                                const std::string& service) {
  const std::string authorization = request.header("Authorization").value_or("");
  const std::string date = request.header("X-Amz-Date").value_or("");
  if (!authorization.starts_with("AWS4-HMAC-SHA256 ")) return "no signature: " + authorization;
  if (date.size() != 16) return "no date: " + date;
  const std::string scope = date.substr(0, 8) + "/" + region + "/" + service + "/aws4_request";
  if (signature::field(authorization, "Credential=") != accessKey + "/" + scope)
    return "other credential: " + authorization;

  const std::string signedNames = signature::field(authorization, "SignedHeaders=");
  std::string canonicalHeaders;
  for (std::size_t at = 0; at <= signedNames.size();) {
    const std::size_t end = std::min(signedNames.find(';', at), signedNames.size());
    const std::string name = signedNames.substr(at, end - at);
    const auto value = request.header(name);
    if (!value) return "signed but not sent: " + name;
    canonicalHeaders += name + ":" + *value + "\n";
    at = end + 1;
  }
  for (const std::string needed : {"host", "x-amz-date", "x-amz-target", "content-type"})
    if ((";" + signedNames + ";").find(";" + needed + ";") == std::string::npos)
      return "not signed: " + needed;

  const std::size_t query = std::min(request.path.find('?'), request.path.size());
  if (query != request.path.size()) return "a query was not expected: " + request.path;
  const std::string canonical = request.method + "\n" + request.path + "\n\n" + canonicalHeaders + "\n" +
                                signedNames + "\n" + signature::sha256(request.body);
  const std::string toSign = "AWS4-HMAC-SHA256\n" + date + "\n" + scope + "\n" + signature::sha256(canonical);
  std::string key = "AWS4" + secretKey;
  for (const std::string& part : {date.substr(0, 8), region, service, std::string("aws4_request")})
    key = signature::hmac(key, part);
  const std::string expected = signature::hex(signature::hmac(key, toSign));
  const std::string actual = signature::field(authorization, "Signature=");
  return actual == expected ? "" : "signature is " + actual + ", ought to be " + expected;
}

}  // namespace geoloom::testing
