#pragma once

#include <string>

#include "geoloom/base/Result.h"
#include "geoloom/platform/foundation/JSON.h"

namespace geoloom::tools {

/// An answer of the mapping service.
struct MappingAnswer {
  int status = 0;  ///< of HTTP
  platform::JSON json;
};

/// Sends one request to the mapping service and waits for the answer. `address` goes up to /prod/maps or
/// /beta/maps; `operation` is a path such as "/create_map". The failure of a service that does not answer, or
/// not with JSON, says why and, if the address is one of this machine, how to start the service.
///
/// The kit reports every such failure to an application in the same way; a command has to tell them apart.
[[nodiscard]] base::Result<MappingAnswer> askMappingService(const std::string& address,
                                                            const std::string& operation,
                                                            const std::string& body);

}  // namespace geoloom::tools
