#pragma once

#include <string>

namespace geoloom {

/// Makes the key pair that the developer key carries, the region us-west-2 and the current endpoints those of
/// the table and metrics clients, for the whole process.
void configureCloudProvider(const std::string& developerKey);

}  // namespace geoloom
