#include "geoloom/platform/aws/SignatureV4.h"

#include <algorithm>
#include <chrono>
#include <span>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "geoloom/base/Digest.h"
#include "geoloom/base/Hexadecimal.h"
#include "geoloom/platform/network/HTTPAddress.h"

namespace geoloom::platform::signature {

namespace {

constexpr std::string_view ALGORITHM = "AWS4-HMAC-SHA256";
constexpr std::string_view SCOPE_END = "aws4_request";

std::string_view bytesOf(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool isLetter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// ASCII only, independent of the locale.
std::string lowerCase(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

/// Trimmed, with each run of blanks replaced by one.
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

/// Names in lower case, sorted, each with its value.
using CanonicalHeaders = std::vector<std::pair<std::string, std::string>>;

CanonicalHeaders canonicalHeaders(const HTTPRequest& request) {
  CanonicalHeaders headers{{"content-type", canonicalValue(request.contentType)}};
  for (const auto& [name, value] : request.headers)
    headers.emplace_back(lowerCase(name), canonicalValue(value));
  std::sort(headers.begin(), headers.end());
  return headers;
}

/// The key of a day (eight digits).
base::SHA256Digest keyOf(const Signer& signer, std::string_view day) {
  base::SHA256Digest key = base::hmacSHA256("AWS4" + signer.credentials.secretKey(), day);
  for (const std::string_view part : {signer.region, signer.service, SCOPE_END})
    key = base::hmacSHA256(bytesOf(key), part);
  return key;
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

void sign(HTTPRequest& request, const Signer& signer, std::string_view time) {
  // For an address that is not allowed the host is empty; the client rejects the request.
  const base::Result<HTTPAddress> parsed = HTTPAddress::of(request.url);
  const HTTPAddress address = parsed ? *parsed : HTTPAddress();
  request.headers.emplace_back("Host", address.host);
  request.headers.emplace_back("X-Amz-Date", time);
  std::string canonical = fmt::format("POST\n{}\n{}\n", canonicalPath(address.path), address.query);
  std::string names;
  for (const auto& [name, value] : canonicalHeaders(request)) {
    canonical.append(name).append(":").append(value).append("\n");
    names.append(names.empty() ? "" : ";").append(name);
  }
  canonical.append("\n").append(names).append("\n").append(base::hexadecimal(base::sha256(request.body)));
  const std::string_view day = time.substr(0, 8);
  const std::string scope = fmt::format("{}/{}/{}/{}", day, signer.region, signer.service, SCOPE_END);
  const auto signature = base::hmacSHA256(
      bytesOf(keyOf(signer, day)),
      fmt::format("{}\n{}\n{}\n{}", ALGORITHM, time, scope, base::hexadecimal(base::sha256(canonical))));
  request.headers.emplace_back(
      "Authorization",
      fmt::format("{} Credential={}/{}, SignedHeaders={}, Signature={}", ALGORITHM,
                  signer.credentials.accessKey(), scope, names, base::hexadecimal(signature)));
}

}  // namespace geoloom::platform::signature
