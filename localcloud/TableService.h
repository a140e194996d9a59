#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "localcloud/Clock.h"
#include "localcloud/Message.h"
#include "localcloud/Sessions.h"
#include "localcloud/Store.h"

namespace geoloom::localcloud {

/// Table operations: CreateTable, DescribeTable, ListTables, PutItem, GetItem and Scan of the
/// table service's JSON protocol, version 20120810. Has no state except the store; may be called from any
/// thread. Throws DatabaseError if the store fails.
class TableService {
 public:
  static constexpr std::string_view TARGET_PREFIX = "DynamoDB_20120810.";

  /// Called after a row of "SceneUnderstanding" is stored, with the map or session that it belongs to and the
  /// question that it raises again, if any.
  using SightingSaved = std::function<void(const std::string& seenBy, const std::optional<Question>& due)>;

  TableService(Store& store, Now now, SightingSaved sightingSaved)
      : store_(store), now_(std::move(now)), sightingSaved_(std::move(sightingSaved)) {}

  /// `operation` is the target without its prefix.
  [[nodiscard]] Answer answer(std::string_view operation, const std::string& body) const;

  /// An error in the table service's form.
  [[nodiscard]] static Answer error(int status, std::string_view type, std::string_view message);

 private:
  Store& store_;
  Now now_;
  SightingSaved sightingSaved_;
};

}  // namespace geoloom::localcloud
