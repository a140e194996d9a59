#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "geoloom/platform/aws/AWSServiceConfiguration.h"
#include "geoloom/platform/network/HTTPClient.h"

namespace geoloom::platform {

/// A request to one operation of one of the provider's services, signed at this moment of the system's time.
/// Nothing where it cannot be signed.
[[nodiscard]] std::optional<HTTPRequest> awsRequest(
    const AWSServiceConfiguration& configuration, const std::string& endpoint, std::string_view service,
    std::string_view target, std::string body, std::vector<std::pair<std::string, std::string>> headers = {});

/// The text with both halves of the credential pair struck out: services repeat what they were sent.
[[nodiscard]] std::string withoutCredentials(std::string text,
                                             const AWSStaticCredentialsProvider& credentials);

}  // namespace geoloom::platform
