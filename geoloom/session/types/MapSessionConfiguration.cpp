#include "geoloom/session/types/MapSessionConfiguration.h"

namespace geoloom {

MapSessionConfiguration::MapSessionConfiguration(float confidenceThreshold, float matchDistanceMeters)
    : sceneUnderstandingConfidenceThreshold(confidenceThreshold),
      featureMatchDistanceMeters(matchDistanceMeters) {}

}  // namespace geoloom
