#include "geoloom/storage/SceneUnderstandingModel.h"

#include <utility>

#include "geoloom/platform/foundation/Clock.h"

namespace geoloom {

SceneUnderstandingModel::SceneUnderstandingModel(std::string sessionId, std::int64_t frameId, float x,
                                                 float y, float z, std::string objectName, float confidence,
                                                 bool isLocalizationSession)
    : SessionId(std::move(sessionId)),
      FrameId(frameId),
      PositionX(x),
      PositionY(y),
      PositionZ(z),
      ObjectName(std::move(objectName)),
      Confidence(confidence),
      Timestamp(platform::timeIntervalSince1970(platform::Clock::current()->date())),
      IsLocalizationSession(isLocalizationSession) {}

}  // namespace geoloom
