#include "geoloom/platform/aws/DeveloperKey.h"

#include "geoloom/base/Digest.h"
#include "geoloom/base/Hexadecimal.h"

namespace geoloom::platform {

std::string DeveloperKey::hash(std::string_view developerKey) {
  return base::md5Hexadecimal(developerKey);
}

DeveloperKey::Pair DeveloperKey::pair(std::string_view developerKey) {
  const auto colon = developerKey.find(':');
  if (colon != std::string_view::npos && colon > 0 && colon + 1 < developerKey.size())
    return {std::string(developerKey.substr(0, colon)), std::string(developerKey.substr(colon + 1))};
  return {hash(developerKey), base::hexadecimal(base::hmacSHA256(developerKey, SECRET_KEY_LABEL))};
}

}  // namespace geoloom::platform
