#pragma once

#include <string>
#include <string_view>

#include "geoloom/platform/aws/AWSServiceConfiguration.h"
#include "geoloom/platform/foundation/Clock.h"
#include "geoloom/platform/network/HTTPClient.h"

namespace geoloom::platform::signature {

/// The credentials and the service that requests are signed for.
struct Signer {
  const AWSStaticCredentialsProvider& credentials;
  std::string_view region;
  std::string_view service;
};

/// "20150830T123600Z".
[[nodiscard]] std::string timeText(Date time);

/// Adds the headers of Signature Version 4 for a POST: "Host", "X-Amz-Date" (`time`) and "Authorization".
/// Content type, body and the headers present must be final, each name once; all of them are signed. A query
/// must be in its canonical form: sorted, encoded, every name with its "=". Source: the provider's published
/// description of the algorithm.
void sign(HTTPRequest& request, const Signer& signer, std::string_view time);

}  // namespace geoloom::platform::signature
