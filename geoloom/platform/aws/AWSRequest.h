#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "geoloom/platform/aws/AWSServiceConfiguration.h"
#include "geoloom/platform/network/HTTPClient.h"

namespace geoloom::platform {

/// A request to one operation of one of the provider's services, signed now by the system's time, corrected
/// by noteServiceTime.
[[nodiscard]] HTTPRequest awsRequest(const AWSServiceConfiguration& configuration,
                                     const std::string& endpoint, std::string_view service,
                                     std::string_view target, std::string body,
                                     std::vector<std::pair<std::string, std::string>> headers = {});

/// Corrects the signing time of later requests if the service rejected this one and its time differs from the
/// signed one by more than five minutes; one line in the system log gives the difference.
void noteServiceTime(const HTTPResponse& response);

/// The text with both halves of the credential pair masked: services may echo the request.
[[nodiscard]] std::string withoutCredentials(std::string text,
                                             const AWSStaticCredentialsProvider& credentials);

}  // namespace geoloom::platform
