#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "localcloud/Clock.h"
#include "localcloud/MappingService.h"
#include "localcloud/Message.h"
#include "localcloud/MetricService.h"
#include "localcloud/SignatureVerifier.h"
#include "localcloud/Store.h"
#include "localcloud/TableService.h"

namespace geoloom::localcloud {

/// The whole service as one function from request to answer. Called from any thread.
class Service {
 public:
  /// If `developerKey` is present, table and metric calls must be signed with its pair, and mapping calls
  /// must contain its hash.
  Service(Store& store, Now now, const std::optional<std::string>& developerKey);

  /// Never throws; a failure of the store is an answer of status 500.
  [[nodiscard]] Answer answer(const Request& request) const;

 private:
  [[nodiscard]] Answer dispatch(const Request& request) const;
  [[nodiscard]] Answer answerTarget(const Request& request) const;

  Now now_;
  std::optional<SignatureVerifier> verifier_;
  MappingService mapping_;
  TableService table_;
  MetricService metric_;
};

}  // namespace geoloom::localcloud
