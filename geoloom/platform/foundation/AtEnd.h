#pragma once

#include <utility>

namespace geoloom::platform {

/// Does something when its scope is left, also by an exception.
template <class Action>
class AtEnd {
 public:
  explicit AtEnd(Action action) : action_(std::move(action)) {}
  ~AtEnd() { action_(); }
  AtEnd(const AtEnd&) = delete;
  AtEnd& operator=(const AtEnd&) = delete;

 private:
  const Action action_;
};

}  // namespace geoloom::platform
