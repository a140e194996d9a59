#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "localcloud/Clock.h"
#include "localcloud/MapLandmarks.h"
#include "localcloud/Message.h"
#include "localcloud/Sessions.h"
#include "localcloud/Store.h"

namespace geoloom::localcloud {

/// Mapping operations: maps, localization sessions, placements, nearby maps and scene-understanding
/// localization. Called from any thread. Throws DatabaseError when the store fails.
class MappingService {
 public:
  /// `developerKeyHash` is the only accepted "developer_key"; if absent, every key is accepted.
  MappingService(Store& store, Now now, std::optional<std::string> developerKeyHash);

  /// The answer to a POST; absent if no operation has that path.
  [[nodiscard]] std::optional<Answer> answer(std::string_view path, const std::string& body) const;

  /// After each row of "SceneUnderstanding" of a map or session. If it raises a question, localizes the
  /// session by all that it has seen, and writes its transform if it is better than the last.
  void sightingSaved(const std::string& seenBy, const std::optional<Question>& due) const;

 private:
  Store& store_;
  Now now_;
  std::optional<std::string> developerKeyHash_;
  mutable MapLandmarks landmarks_;
};

}  // namespace geoloom::localcloud
