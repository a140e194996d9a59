#pragma once

#include <algorithm>
#include <cctype>
#include <chrono>
#include <string>

#include "localcloud/SignatureVerifier.h"
#include "tests/support/FakeService.h"

namespace geoloom::test {

/// The fault of the kit's signature of a received request, or an empty text. The local cloud verifies it with
/// its own code. Link geoloom_localcloud.
[[nodiscard]] inline std::string signatureFault(const RecordedRequest& request,
                                                const platform::DeveloperKey::Pair& pair,
                                                const std::string& service) {
  const std::string authorization = request.header("Authorization").value_or("");
  if (authorization.find("/us-west-2/" + service + "/aws4_request, SignedHeaders=content-type;host;") ==
      std::string::npos)
    return "signed otherwise: " + authorization;
  localcloud::Request received{
      .method = request.method, .target = request.path, .headers = {}, .body = request.body};
  for (auto [name, value] : request.headers) {
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
    received.headers.emplace(name, value);
  }
  const auto refusal =
      localcloud::SignatureVerifier(pair).check(received, service, std::chrono::system_clock::now());
  return refusal ? refusal->type + ": " + refusal->message : "";
}

}  // namespace geoloom::test
