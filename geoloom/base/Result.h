#pragma once

#include <cassert>
#include <string>
#include <utility>
#include <variant>

namespace geoloom::base {

/// Why something could not be done: one line that names the input and what is wrong with it.
struct Failure {
  std::string message;
};

/// A value, or the reason why there is none.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}            // NOLINT(*-explicit-*)
  Result(Failure failure) : state_(std::in_place_index<1>, std::move(failure)) {}  // NOLINT(*-explicit-*)

  explicit operator bool() const { return state_.index() == 0; }

  /// Only when there is a value.
  T& operator*() & { return *value(); }
  const T& operator*() const& { return *const_cast<Result*>(this)->value(); }
  T&& operator*() && { return std::move(*value()); }
  T* operator->() { return value(); }
  const T* operator->() const { return const_cast<Result*>(this)->value(); }

  /// Only when there is no value.
  [[nodiscard]] const Failure& failure() const {
    assert(state_.index() == 1);
    return *std::get_if<1>(&state_);
  }

 private:
  T* value() {
    assert(state_.index() == 0);
    return std::get_if<0>(&state_);
  }

  std::variant<T, Failure> state_;
};

}  // namespace geoloom::base
