#pragma once

#include <cassert>
#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace geoloom::base {

/// Why an operation failed: one line that names the input and the fault.
struct Failure {
  std::string message;
};

/// A value or a failure.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}            // NOLINT(*-explicit-*)
  Result(Failure failure) : state_(std::in_place_index<1>, std::move(failure)) {}  // NOLINT(*-explicit-*)

  explicit operator bool() const { return state_.index() == 0; }

  /// Precondition: there is a value.
  T& operator*() & { return *value(); }
  const T& operator*() const& { return *const_cast<Result*>(this)->value(); }
  T&& operator*() && { return std::move(*value()); }
  T* operator->() { return value(); }
  const T* operator->() const { return const_cast<Result*>(this)->value(); }

  /// Precondition: there is no value.
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

/// Success or a failure.
template <>
class [[nodiscard]] Result<void> {
 public:
  Result() = default;
  Result(Failure failure) : failure_(std::move(failure)) {}  // NOLINT(*-explicit-*)

  explicit operator bool() const { return !failure_; }

  /// Precondition: this is a failure.
  [[nodiscard]] const Failure& failure() const {
    assert(failure_);
    return *failure_;
  }

 private:
  std::optional<Failure> failure_;
};

}  // namespace geoloom::base
