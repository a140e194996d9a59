#pragma once

#include <string>
#include <string_view>

#include "geoloom/platform/aws/AWSServiceConfiguration.h"
#include "geoloom/platform/network/HTTPClient.h"

namespace geoloom::platform {

/// A signed request, still without its body, for one operation of one of the provider's services.
[[nodiscard]] HTTPRequest awsRequest(const AWSServiceConfiguration& configuration,
                                     const std::string& endpoint, std::string_view service,
                                     std::string_view target);

/// The text with both halves of the credential pair struck out: services repeat what they were sent.
[[nodiscard]] std::string withoutCredentials(std::string text,
                                             const AWSStaticCredentialsProvider& credentials);

}  // namespace geoloom::platform
