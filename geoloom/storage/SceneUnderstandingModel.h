#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include "geoloom/platform/aws/AWSDynamoDBObjectModel.h"

namespace geoloom {

/// A row of the table of detected objects; only written. The objects of one batch share a key, so the table
/// keeps the one saved last.
struct SceneUnderstandingModel : platform::AWSDynamoDBObjectModel {
  /// `x`, `y`, `z`: centre of the object in metres, session coordinates. `Timestamp` becomes the current
  /// clock's time in seconds since 1970.
  SceneUnderstandingModel(std::string sessionId, std::int64_t frameId, float x, float y, float z,
                          std::string objectName, float confidence, bool isLocalizationSession);

  /// UUID of the localization session, or in mapping mode of the new map.
  std::optional<std::string> SessionId;
  std::optional<std::int64_t> FrameId;
  std::optional<float> PositionX;
  std::optional<float> PositionY;
  std::optional<float> PositionZ;
  std::optional<std::string> ObjectName;
  std::optional<float> Confidence;
  std::optional<double> Timestamp;
  std::optional<bool> IsLocalizationSession;

  static constexpr std::string_view dynamoDBTableName() { return "SceneUnderstanding"; }
  static constexpr std::string_view hashKeyAttribute() { return "SessionId"; }
  static constexpr std::string_view rangeKeyAttribute() { return "FrameId"; }
  static constexpr auto attributes() {
    using platform::AWSDynamoDBAttribute;
    using Model = SceneUnderstandingModel;
    return std::tuple{AWSDynamoDBAttribute{"SessionId", &Model::SessionId},
                      AWSDynamoDBAttribute{"FrameId", &Model::FrameId},
                      AWSDynamoDBAttribute{"PositionX", &Model::PositionX},
                      AWSDynamoDBAttribute{"PositionY", &Model::PositionY},
                      AWSDynamoDBAttribute{"PositionZ", &Model::PositionZ},
                      AWSDynamoDBAttribute{"ObjectName", &Model::ObjectName},
                      AWSDynamoDBAttribute{"Confidence", &Model::Confidence},
                      AWSDynamoDBAttribute{"Timestamp", &Model::Timestamp},
                      AWSDynamoDBAttribute{"IsLocalizationSession", &Model::IsLocalizationSession}};
  }
};

}  // namespace geoloom
