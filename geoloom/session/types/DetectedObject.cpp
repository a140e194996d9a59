#include "geoloom/session/types/DetectedObject.h"

#include <utility>

#include "geoloom/base/Text.h"
#include "geoloom/session/types/DetectedObjectFactory.h"

namespace geoloom {

DetectedObject::DetectedObject(std::string className, float score, platform::SCNVector3 boundsCenter,
                               float boundsHeight)
    : name(std::move(className)), confidence(score), center(boundsCenter), height(boundsHeight) {}

std::string DetectedObject::print() const {
  return name + ", " + base::text(confidence) + ", " + base::text(height);
}

std::shared_ptr<DetectedObject> DetectedObjectFactory::make(std::string name, float confidence,
                                                            platform::SCNVector3 center, float height) {
  return std::shared_ptr<DetectedObject>(new DetectedObject(std::move(name), confidence, center, height));
}

}  // namespace geoloom
