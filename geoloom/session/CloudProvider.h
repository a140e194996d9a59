#pragma once

#include <string>

namespace geoloom {

/// Configures the table and metrics clients of the process with the pair of the developer key, the region
/// us-west-2 and the current endpoints.
void configureCloudProvider(const std::string& developerKey);

}  // namespace geoloom
