#include "geoloom/platform/aws/AWSRequest.h"

#include <chrono>

#include "geoloom/platform/aws/SignatureV4.h"

namespace geoloom::platform {

std::optional<HTTPRequest> awsRequest(const AWSServiceConfiguration& configuration,
                                      const std::string& endpoint, std::string_view service,
                                      std::string_view target, std::string body,
                                      std::vector<std::pair<std::string, std::string>> headers) {
  HTTPRequest request;
  request.url = endpoint;
  request.contentType = "application/x-amz-json-1.0";
  request.headers = std::move(headers);
  request.headers.emplace_back("X-Amz-Target", target);
  request.body = std::move(body);
  request.deadline = configuration.timeoutIntervalForRequest;
  // Not the clock that a test or a replay moves: the service compares the time with its own.
  const std::string time = signature::timeText(std::chrono::system_clock::now());
  const auto day = std::string_view(time).substr(0, 8);
  const auto key =
      configuration.credentialsProvider->signingKey(day, regionName(configuration.region), service);
  if (!key || !signature::sign(request, *key, time)) return std::nullopt;
  return request;
}

std::string withoutCredentials(std::string text, const AWSStaticCredentialsProvider& credentials) {
  constexpr std::string_view mask = "***";
  // What is shorter keeps nothing secret, and striking it out would leave no text.
  constexpr std::size_t shortest = 4;
  for (const std::string& secret : {credentials.accessKey(), credentials.secretKey()}) {
    if (secret.size() < shortest) continue;
    for (std::size_t at = text.find(secret); at != std::string::npos;
         at = text.find(secret, at + mask.size()))
      text.replace(at, secret.size(), mask);
  }
  return text;
}

}  // namespace geoloom::platform
