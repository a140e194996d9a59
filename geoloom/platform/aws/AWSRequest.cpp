#include "geoloom/platform/aws/AWSRequest.h"

#include <atomic>
#include <chrono>

#include <fmt/format.h>

#include "geoloom/platform/aws/SignatureV4.h"
#include "geoloom/platform/foundation/Log.h"

namespace geoloom::platform {

namespace {

using std::chrono::seconds;

/// The services' time minus the system's time. Services reject requests that differ by 15 minutes or more.
std::atomic<seconds> clockCorrection{seconds(0)};

Date serviceTime() {
  // The system's time, not the current Clock's, which a test or a replay moves.
  return std::chrono::system_clock::now() + clockCorrection.load();
}

}  // namespace

HTTPRequest awsRequest(const AWSServiceConfiguration& configuration, const std::string& endpoint,
                       std::string_view service, std::string_view target, std::string body,
                       std::vector<std::pair<std::string, std::string>> headers) {
  HTTPRequest request;
  request.url = endpoint;
  request.contentType = "application/x-amz-json-1.0";
  request.headers = std::move(headers);
  request.headers.emplace_back("X-Amz-Target", target);
  request.body = std::move(body);
  request.deadline = configuration.timeoutIntervalForRequest;
  signature::sign(request, {*configuration.credentialsProvider, regionName(configuration.region), service},
                  signature::timeText(serviceTime()));
  return request;
}

void noteServiceTime(const HTTPResponse& response) {
  constexpr std::chrono::minutes TOLERANCE{5};
  const bool isRefused = response.status == 400 || response.status == 403;
  if (!isRefused || !response.date) return;
  const auto correction = std::chrono::round<seconds>(*response.date - std::chrono::system_clock::now());
  seconds known = clockCorrection;
  if (std::chrono::abs(correction - known) <= TOLERANCE) return;
  // If several requests are rejected at once, only one prints the line.
  if (!clockCorrection.compare_exchange_strong(known, correction)) return;
  SystemLog::log(fmt::format(
      "The device's clock is {} s {} the cloud service's; requests are now signed by the service's time",
      std::chrono::abs(correction).count(), correction.count() > 0 ? "behind" : "ahead of"));
}

std::string withoutCredentials(std::string text, const AWSStaticCredentialsProvider& credentials) {
  constexpr std::string_view MASK = "***";
  // Shorter texts are not secrets, and masking them would make the text unreadable.
  constexpr std::size_t SHORTEST = 4;
  for (const std::string& secret : {credentials.accessKey(), credentials.secretKey()}) {
    if (secret.size() < SHORTEST) continue;
    for (std::size_t at = text.find(secret); at != std::string::npos;
         at = text.find(secret, at + MASK.size()))
      text.replace(at, secret.size(), MASK);
  }
  return text;
}

}  // namespace geoloom::platform
