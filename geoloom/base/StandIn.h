#pragma once

namespace geoloom::base {

/// While it lives, another thread of the queues' pool stands in for the calling one, if that is of the pool:
/// the calling one may take as long as it likes, and nobody else waits for it. May be nested.
class StandIn {
 public:
  StandIn();
  ~StandIn();
  StandIn(const StandIn&) = delete;
  StandIn& operator=(const StandIn&) = delete;
};

}  // namespace geoloom::base
