#include "geoloom/platform/aws/AWSRequest.h"

namespace geoloom::platform {

HTTPRequest awsRequest(const AWSServiceConfiguration& configuration, const std::string& endpoint,
                       std::string_view service, std::string_view target) {
  HTTPRequest request;
  request.url = endpoint;
  request.contentType = "application/x-amz-json-1.0";
  request.headers = {{"X-Amz-Target", std::string(target)}};
  request.deadline = configuration.timeoutIntervalForRequest;
  request.signature = HTTPSignature{.service = std::string(service),
                                    .region = std::string(regionName(configuration.region)),
                                    .accessKey = configuration.credentialsProvider->accessKey(),
                                    .secretKey = configuration.credentialsProvider->secretKey()};
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
