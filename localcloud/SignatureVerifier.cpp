#include "localcloud/SignatureVerifier.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <vector>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <openssl/crypto.h>

#include "geoloom/base/Digest.h"
#include "geoloom/base/Hexadecimal.h"

namespace geoloom::localcloud {

namespace {

using std::chrono::system_clock;

constexpr std::string_view ALGORITHM = "AWS4-HMAC-SHA256";
constexpr std::string_view SCOPE_END = "aws4_request";

using Refusal = SignatureVerifier::Refusal;

Refusal refusal(std::string_view type, std::string message) {
  return {fmt::format("com.amazon.coral.service#{}", type), std::move(message)};
}

std::string sha256(std::string_view text) {
  return base::hexadecimal(base::sha256(text));
}

base::SHA256Digest hmac(const base::SHA256Digest& key, std::string_view message) {
  return base::hmacSHA256({reinterpret_cast<const char*>(key.data()), key.size()}, message);
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (std::size_t start = 0;;) {
    const std::size_t end = text.find(separator, start);
    parts.push_back(text.substr(start, end - start));
    if (end == std::string_view::npos) return parts;
    start = end + 1;
  }
}

std::string_view trimmed(std::string_view text) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

struct Authorization {
  std::string_view accessKey;
  std::string_view day;
  std::string_view region;
  std::string_view service;
  std::string_view scope;  ///< day to end, as in the string to sign
  std::vector<std::string_view> signedHeaders;
  std::string_view signedHeadersText;
  std::string_view signature;
};

std::optional<Authorization> parseAuthorization(std::string_view header) {
  if (!header.starts_with(ALGORITHM)) return std::nullopt;
  Authorization result;
  std::string_view credential;
  for (const std::string_view part : split(header.substr(ALGORITHM.size()), ',')) {
    const std::string_view field = trimmed(part);
    const std::size_t equals = field.find('=');
    if (equals == std::string_view::npos) return std::nullopt;
    const std::string_view name = field.substr(0, equals);
    const std::string_view value = field.substr(equals + 1);
    if (name == "Credential") credential = value;
    if (name == "SignedHeaders") result.signedHeadersText = value;
    if (name == "Signature") result.signature = value;
  }
  const std::vector<std::string_view> parts = split(credential, '/');
  if (parts.size() != 5 || parts[4] != SCOPE_END || result.signature.empty() ||
      result.signedHeadersText.empty()) {
    return std::nullopt;
  }
  result.accessKey = parts[0];
  result.day = parts[1];
  result.region = parts[2];
  result.service = parts[3];
  result.scope = credential.substr(parts[0].size() + 1);
  result.signedHeaders = split(result.signedHeadersText, ';');
  return result;
}

/// "20150830T123600Z". In seconds, as the finer count of the system clock ends in the years 1677 and 2262.
std::optional<std::chrono::sys_seconds> parseTime(std::string_view text) {
  if (text.size() != 16 || text[8] != 'T' || text[15] != 'Z') return std::nullopt;
  const auto number = [&](std::size_t at, std::size_t length) {
    int value = -1;
    const char* const end = text.data() + at + length;
    const auto [stop, error] = std::from_chars(text.data() + at, end, value);
    return error == std::errc{} && stop == end ? value : -1;
  };
  using namespace std::chrono;
  const int yearNumber = number(0, 4);
  const year_month_day day{year{yearNumber}, month{static_cast<unsigned>(number(4, 2))},
                           std::chrono::day{static_cast<unsigned>(number(6, 2))}};
  const int hour = number(9, 2);
  const int minute = number(11, 2);
  const int second = number(13, 2);
  if (yearNumber < 0 || !day.ok() || hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 ||
      second > 60)
    return std::nullopt;
  return sys_days(day) + hours(hour) + minutes(minute) + seconds(second);
}

std::string timeText(std::chrono::sys_seconds time) {
  return fmt::format("{:%Y%m%dT%H%M%SZ}", fmt::gmtime(system_clock::to_time_t(time)));
}

/// Values of one header in the form of the canonical request: trimmed, runs of blanks replaced by one, joined
/// by commas.
std::string canonicalHeader(const Request& request, const std::string& name) {
  std::string text;
  const auto [begin, end] = request.headers.equal_range(name);
  for (auto header = begin; header != end; ++header) {
    if (header != begin) text += ',';
    char last = 0;
    for (const char c : trimmed(header->second)) {
      if (c != ' ' || last != ' ') text += c;
      last = c;
    }
  }
  return text;
}

std::string canonicalQuery(std::string_view query) {
  if (query.empty()) return {};
  std::vector<std::string> parts;
  for (const std::string_view part : split(query, '&')) {
    parts.emplace_back(part);
    if (part.find('=') == std::string_view::npos) parts.back() += '=';
  }
  std::sort(parts.begin(), parts.end());
  return fmt::format("{}", fmt::join(parts, "&"));
}

std::string canonicalRequest(const Request& request, const Authorization& authorization) {
  const std::string_view target = request.target;
  const std::size_t mark = target.find('?');
  std::string text =
      fmt::format("{}\n{}\n{}\n", request.method, target.substr(0, mark),
                  canonicalQuery(mark == std::string_view::npos ? "" : target.substr(mark + 1)));
  for (const std::string_view name : authorization.signedHeaders) {
    text += fmt::format("{}:{}\n", name, canonicalHeader(request, std::string(name)));
  }
  return text + fmt::format("\n{}\n{}", authorization.signedHeadersText, sha256(request.body));
}

std::string signature(const Request& request, const Authorization& authorization, const std::string& time,
                      const std::string& secretKey) {
  const std::string toSign = fmt::format("{}\n{}\n{}\n{}", ALGORITHM, time, authorization.scope,
                                         sha256(canonicalRequest(request, authorization)));
  base::SHA256Digest key = base::hmacSHA256("AWS4" + secretKey, authorization.day);
  for (const std::string_view part : {authorization.region, authorization.service, SCOPE_END})
    key = hmac(key, part);
  return base::hexadecimal(hmac(key, toSign));
}

/// The first header that must be signed but is not.
std::optional<std::string> unsignedHeader(const Request& request, const Authorization& authorization) {
  const auto isSigned = [&](const std::string& name) {
    return std::find(authorization.signedHeaders.begin(), authorization.signedHeaders.end(), name) !=
           authorization.signedHeaders.end();
  };
  if (!isSigned("host")) return "host";
  for (const auto& [name, value] : request.headers) {
    if (name.starts_with("x-amz-") && !isSigned(name)) return name;
  }
  return std::nullopt;
}

std::optional<Refusal> checkTime(const std::string& time, const Authorization& authorization,
                                 std::chrono::sys_seconds now) {
  const auto signedAt = parseTime(time);
  if (!signedAt) {
    return refusal("IncompleteSignatureException",
                   "Date must be in ISO-8601 'basic format'. Got '" + time + "'.");
  }
  if (!time.starts_with(authorization.day)) {
    return refusal(
        "InvalidSignatureException",
        fmt::format("Date in Credential scope does not match YYYYMMDD from ISO-8601 version of date from "
                    "HTTP: '{}' != '{}', from '{}'.",
                    authorization.day, time.substr(0, 8), time));
  }
  if (*signedAt < now - SignatureVerifier::ALLOWED_SKEW) {
    return refusal("InvalidSignatureException",
                   fmt::format("Signature expired: {} is now earlier than {} ({} - 15 min.)", time,
                               timeText(now - SignatureVerifier::ALLOWED_SKEW), timeText(now)));
  }
  if (*signedAt > now + SignatureVerifier::ALLOWED_SKEW) {
    return refusal("InvalidSignatureException",
                   fmt::format("Signature not yet current: {} is still later than {} ({} + 15 min.)", time,
                               timeText(now + SignatureVerifier::ALLOWED_SKEW), timeText(now)));
  }
  return std::nullopt;
}

}  // namespace

std::optional<Refusal> SignatureVerifier::check(const Request& request, std::string_view service,
                                                system_clock::time_point now) const {
  const auto header = request.header("authorization");
  if (!header)
    return refusal("MissingAuthenticationTokenException", "Request is missing Authentication Token");
  const auto authorization = parseAuthorization(*header);
  if (!authorization) {
    return refusal(
        "IncompleteSignatureException",
        "Authorization header requires 'Credential', 'SignedHeaders' and 'Signature' parameters of the "
        "AWS4-HMAC-SHA256 form.");
  }
  if (authorization->accessKey != pair_.accessKey) {
    return refusal("UnrecognizedClientException", "The security token included in the request is invalid.");
  }
  if (authorization->service != service) {
    return refusal("InvalidSignatureException",
                   fmt::format("Credential should be scoped to correct service: '{}'.", service));
  }
  const std::string time = request.header("x-amz-date").value_or("");
  if (auto wrongTime = checkTime(time, *authorization, std::chrono::floor<std::chrono::seconds>(now)))
    return wrongTime;
  if (const auto name = unsignedHeader(request, *authorization)) {
    return refusal("InvalidSignatureException", fmt::format("'{}' must be a signed header.", *name));
  }
  const std::string expected = signature(request, *authorization, time, pair_.secretKey);
  if (authorization->signature.size() != expected.size() ||
      CRYPTO_memcmp(authorization->signature.data(), expected.data(), expected.size()) != 0) {
    return refusal(
        "InvalidSignatureException",
        "The request signature we calculated does not match the signature you provided. Check your secret "
        "access key and signing method.");
  }
  return std::nullopt;
}

}  // namespace geoloom::localcloud
