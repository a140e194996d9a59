#pragma once

#include <memory>
#include <string>

#include "geoloom/session/types/DetectedObject.h"

namespace geoloom {

/// Makes the objects that an application can only read. Not installed.
struct DetectedObjectFactory {
  [[nodiscard]] static std::shared_ptr<DetectedObject> make(std::string name, float confidence,
                                                            platform::SCNVector3 center, float height);
};

}  // namespace geoloom
