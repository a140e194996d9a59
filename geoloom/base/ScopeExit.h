#pragma once

#include <utility>

namespace geoloom::base {

/// Runs an action when its scope is left, also by an exception.
template <class Action>
class ScopeExit {
 public:
  explicit ScopeExit(Action action) : action_(std::move(action)) {}
  ~ScopeExit() { action_(); }
  ScopeExit(const ScopeExit&) = delete;
  ScopeExit& operator=(const ScopeExit&) = delete;

 private:
  const Action action_;
};

}  // namespace geoloom::base
