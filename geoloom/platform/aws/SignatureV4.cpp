#include "geoloom/platform/aws/SignatureV4.h"

#include <algorithm>
#include <chrono>
#include <initializer_list>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <openssl/evp.h>

#include "geoloom/base/Hexadecimal.h"
#include "geoloom/platform/network/HTTPAddress.h"

namespace geoloom::platform::signature {

namespace {

constexpr std::string_view algorithm = "AWS4-HMAC-SHA256";
constexpr std::string_view scopeEnd = "aws4_request";

std::string_view bytesOf(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Nothing where the digest library cannot give it.
std::optional<Digest> sha256(std::initializer_list<std::string_view> parts) {
  // Fetched once: the library would look it up by its name at every use.
  static const EVP_MD* const method = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
  Digest digest{};
  bool isGood = method && context && EVP_DigestInit_ex2(context.get(), method, nullptr) == 1;
  for (const std::string_view part : parts)
    isGood = isGood && EVP_DigestUpdate(context.get(), part.data(), part.size()) == 1;
  isGood = isGood && EVP_DigestFinal_ex(context.get(), digest.data(), nullptr) == 1;
  return isGood ? std::optional(digest) : std::nullopt;
}

/// RFC 2104.
std::optional<Digest> hmac(std::string_view key, std::string_view message) {
  constexpr std::size_t blockBytes = 64;
  std::optional<Digest> shortened;
  if (key.size() > blockBytes) {
    shortened = sha256({key});
    if (!shortened) return std::nullopt;
    key = bytesOf(*shortened);
  }
  std::array<char, blockBytes> inner{};
  std::copy(key.begin(), key.end(), inner.begin());
  std::array<char, blockBytes> outer = inner;
  for (char& byte : inner) byte = static_cast<char>(byte ^ 0x36);
  for (char& byte : outer) byte = static_cast<char>(byte ^ 0x5c);
  const auto first = sha256({{inner.data(), inner.size()}, message});
  return first ? sha256({{outer.data(), outer.size()}, bytesOf(*first)}) : std::nullopt;
}

bool isLetter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// Of ASCII, whatever the application's locale is.
std::string lowerCase(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

/// Without blanks at the ends, and runs of them as one.
std::string canonicalValue(std::string_view value) {
  std::string text;
  for (const char c : value)
    if (c != ' ' || (!text.empty() && text.back() != ' ')) text += c;
  if (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

std::string canonicalPath(std::string_view path) {
  std::string text;
  for (const char c : path) {
    const bool isPlain =
        isLetter(c) || (c >= '0' && c <= '9') || std::string_view("-._~/").find(c) != std::string_view::npos;
    if (isPlain)
      text += c;
    else
      text += fmt::format("%{:02X}", static_cast<unsigned char>(c));
  }
  return text;
}

/// Names in lower case, in their order, each with its value.
using CanonicalHeaders = std::vector<std::pair<std::string, std::string>>;

CanonicalHeaders canonicalHeaders(const HTTPRequest& request) {
  CanonicalHeaders headers{{"content-type", canonicalValue(request.contentType)}};
  for (const auto& [name, value] : request.headers)
    headers.emplace_back(lowerCase(name), canonicalValue(value));
  std::sort(headers.begin(), headers.end());
  return headers;
}

}  // namespace

std::string timeText(Date time) {
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(std::chrono::floor<std::chrono::seconds>(time - day));
  return fmt::format("{:04}{:02}{:02}T{:02}{:02}{:02}Z", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                     clock.hours().count(), clock.minutes().count(), clock.seconds().count());
}

std::string scopeOf(std::string_view day, std::string_view region, std::string_view service) {
  return fmt::format("{}/{}/{}/{}", day, region, service, scopeEnd);
}

std::optional<Key> deriveKey(const std::string& accessKey, const std::string& secretKey, std::string_view day,
                             std::string_view region, std::string_view service) {
  std::optional<Digest> bytes = hmac("AWS4" + secretKey, day);
  for (const std::string_view part : {region, service, scopeEnd})
    if (bytes) bytes = hmac(bytesOf(*bytes), part);
  if (!bytes) return std::nullopt;
  return Key{accessKey, scopeOf(day, region, service), *bytes};
}

bool sign(HTTPRequest& request, const Key& key, std::string_view time) {
  const HTTPAddress address = HTTPAddress::of(request.url);
  request.headers.emplace_back("Host", address.host);
  request.headers.emplace_back("X-Amz-Date", time);
  std::string canonical = fmt::format("POST\n{}\n{}\n", canonicalPath(address.path), address.query);
  std::string names;
  for (const auto& [name, value] : canonicalHeaders(request)) {
    canonical.append(name).append(":").append(value).append("\n");
    names.append(names.empty() ? "" : ";").append(name);
  }
  const auto body = sha256({request.body});
  if (!body) return false;
  canonical.append("\n").append(names).append("\n").append(base::hexadecimal(*body));
  const auto digest = sha256({canonical});
  if (!digest) return false;
  const auto signature = hmac(bytesOf(key.bytes), fmt::format("{}\n{}\n{}\n{}", algorithm, time, key.scope,
                                                              base::hexadecimal(*digest)));
  if (!signature) return false;
  request.headers.emplace_back("Authorization",
                               fmt::format("{} Credential={}/{}, SignedHeaders={}, Signature={}", algorithm,
                                           key.accessKey, key.scope, names, base::hexadecimal(*signature)));
  return true;
}

}  // namespace geoloom::platform::signature
