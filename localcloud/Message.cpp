#include "localcloud/Message.h"

#include "localcloud/Text.h"

namespace geoloom::localcloud {

std::optional<std::string> Request::header(const std::string& name) const {
  const auto found = headers.find(name);
  if (found == headers.end()) return std::nullopt;
  return found->second;
}

Answer mappingError(int status, std::string_view text) {
  return {.status = status, .body = write(Body{{"errorMessage", text}})};
}

}  // namespace geoloom::localcloud
